#include "video/overlay_client.h"

#include <fcntl.h>
#include <gio/gunixfdlist.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "command/service_error.h"

/// Where an interface is found.
struct OverlayClient::Service {
    const char* name;
    const char* path;
    const char* interface;
};

const OverlayClient::Service OverlayClient::kOverlays = {"com.orva.Overlay2", "/com/orva/Overlay2",
                                                         "com.orva.Host.Overlays1"};
const OverlayClient::Service OverlayClient::kFaults = {"com.orva.Overlay2", "/com/orva/Overlay2",
                                                       "com.orva.Host.Faults1"};
const OverlayClient::Service OverlayClient::kStreams = {"com.orva.Graphics1", "/com/orva/Graphics1",
                                                        "com.orva.Host.Streams1"};

namespace {

constexpr int kTimeout = 30000;       // milliseconds
constexpr unsigned kPatience = 5000;  // milliseconds
constexpr unsigned kSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;

GVariant* dictionary(const OverlayClient::Properties& properties) {
    g_auto(GVariantBuilder) builder = G_VARIANT_BUILDER_INIT(G_VARIANT_TYPE("a{ss}"));
    for (const auto& [name, value] : properties) {
        g_variant_builder_add(&builder, "{ss}", name.c_str(), value.c_str());
    }
    return g_variant_builder_end(&builder);
}

int idIn(GVariant* reply) {
    gint32 id = 0;
    g_variant_get(reply, "(i)", &id);
    return id;
}

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// A file in memory, which nobody can change any more.
class SealedFile {
public:
    explicit SealedFile(const std::string& content)
        : descriptor(memfd_create("image", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
        if (descriptor < 0) {
            fail("memfd_create");
        }
        if (write(descriptor, content.data(), content.size()) !=
                static_cast<ssize_t>(content.size()) ||
            lseek(descriptor, 0, SEEK_SET) != 0 || fcntl(descriptor, F_ADD_SEALS, kSeals) != 0) {
            const int error = errno;
            close(descriptor);
            errno = error;
            fail("the image cannot be handed over");
        }
    }
    ~SealedFile() { close(descriptor); }
    SealedFile(const SealedFile&) = delete;
    SealedFile& operator=(const SealedFile&) = delete;

    const int descriptor;
};

gboolean quit(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_REMOVE;
}

}  // namespace

OverlayClient::OverlayClient() {
    g_autoptr(GError) error = nullptr;
    bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
    ServiceError::require(bus, error);
    g_dbus_connection_set_exit_on_close(bus, FALSE);
}

OverlayClient::~OverlayClient() {
    g_object_unref(bus);
}

int OverlayClient::addText(const std::string& text, const std::string& position,
                           const Properties& properties) {
    g_autoptr(GVariant) reply = call(
        kOverlays, "AddText",
        g_variant_new("(ss@a{ss})", text.c_str(), position.c_str(), dictionary(properties)), "(i)");
    return idIn(reply);
}

int OverlayClient::addImage(const std::string& image, const std::string& position,
                            const Properties& properties) {
    const SealedFile file(image);
    g_autoptr(GUnixFDList) descriptors = g_unix_fd_list_new();
    g_autoptr(GError) error = nullptr;
    const int index = g_unix_fd_list_append(descriptors, file.descriptor, &error);
    ServiceError::require(index < 0 ? nullptr : descriptors, error);
    g_autoptr(GVariant) reply =
        call(kOverlays, "AddImage",
             g_variant_new("(hs@a{ss})", index, position.c_str(), dictionary(properties)), "(i)",
             descriptors);
    return idIn(reply);
}

void OverlayClient::move(int id, const std::string& position) {
    g_autoptr(GVariant) reply =
        call(kOverlays, "Move", g_variant_new("(is)", id, position.c_str()), "()");
}

void OverlayClient::remove(int id) {
    g_autoptr(GVariant) reply = call(kOverlays, "Remove", g_variant_new("(i)", id), "()");
}

std::vector<OverlayClient::Overlay> OverlayClient::list() {
    g_autoptr(GVariant) reply = call(kOverlays, "List", nullptr, "(a(iisss))");
    std::vector<Overlay> overlays;
    g_autoptr(GVariantIter) entries = nullptr;
    g_variant_get(reply, "(a(iisss))", &entries);
    gint32 id = 0;
    gint32 camera = 0;
    const char *type = nullptr, *position = nullptr, *text = nullptr;
    while (g_variant_iter_next(entries, "(ii&s&s&s)", &id, &camera, &type, &position, &text) !=
           FALSE) {
        overlays.push_back({id, camera, type, position, text});
    }
    return overlays;
}

void OverlayClient::setFault(const Fault& fault) {
    g_autoptr(GVariant) reply =
        call(kFaults, "Set",
             g_variant_new("(ssuuu)", fault.what.c_str(), fault.kind.c_str(), fault.nth,
                           fault.count, fault.milliseconds),
             "()");
}

void OverlayClient::clearFaults() {
    g_autoptr(GVariant) reply = call(kFaults, "Clear", nullptr, "()");
}

void OverlayClient::removeStream(int id) {
    g_autoptr(GVariant) reply = call(kStreams, "Remove", g_variant_new("(i)", id), "()");
}

void OverlayClient::addStream(int id) {
    g_autoptr(GVariant) reply = call(kStreams, "Add", g_variant_new("(i)", id), "()");
}

/// A floating reference of the parameters is consumed; the reply is transferred.
GVariant* OverlayClient::call(const Service& service, const char* method, GVariant* parameters,
                              const char* replyType, GUnixFDList* descriptors) {
    g_autoptr(GVariant) arguments =
        parameters == nullptr ? nullptr : g_variant_ref_sink(parameters);
    waitFor(service.name);
    g_autoptr(GError) error = nullptr;
    GVariant* reply = g_dbus_connection_call_with_unix_fd_list_sync(
        bus, service.name, service.path, service.interface, method, arguments,
        G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NO_AUTO_START, kTimeout, descriptors, nullptr,
        nullptr, &error);
    ServiceError::require(reply, error);
    return reply;
}

/// Waits until the name is owned, and not for long: whoever calls it then is told why it fails.
void OverlayClient::waitFor(const char* name) {
    g_autoptr(GMainLoop) loop = g_main_loop_new(nullptr, FALSE);
    const unsigned watch = g_bus_watch_name_on_connection(
        bus, name, G_BUS_NAME_WATCHER_FLAGS_NONE,
        [](GDBusConnection*, const char*, const char*, gpointer data) { quit(data); }, nullptr,
        loop, nullptr);
    g_autoptr(GSource) timer = g_timeout_source_new(kPatience);
    g_source_set_callback(timer, quit, loop, nullptr);
    g_source_attach(timer, nullptr);
    g_main_loop_run(loop);
    g_source_destroy(timer);
    g_bus_unwatch_name(watch);
}
