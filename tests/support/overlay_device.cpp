#include "support/overlay_device.h"

#include <fcntl.h>
#include <gio/gunixfdlist.h>
#include <jansson.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace {

constexpr int kMemorySize = OverlayDevice::kBuffers * OverlayDevice::kBufferSize;

std::string printed(GVariant* value) {
    if (value == nullptr) {
        return "()";
    }
    g_autofree char* text = g_variant_print(value, FALSE);
    return text;
}

}  // namespace

OverlayDevice::OverlayDevice(const PrivateBus& bus, std::map<std::string, Reply> answers)
    : replies(std::move(answers)),
      memoryDescriptor(makeMemory(kMemorySize, F_SEAL_SHRINK | F_SEAL_GROW)),
      memory(static_cast<unsigned char*>(
          mmap(nullptr, kMemorySize, PROT_READ | PROT_WRITE, MAP_SHARED, memoryDescriptor, 0))) {
    service = std::make_unique<BusService>(
        bus, "com.orva.Overlay2",
        [this](GDBusConnection* bare) {
            connection = bare;
            filterId = g_dbus_connection_add_filter(bare, filter, this, nullptr);
            BusService::own(bare, "com.orva.Graphics1");
        },
        [this](GDBusConnection* bare) { g_dbus_connection_remove_filter(bare, filterId); });
}

OverlayDevice::~OverlayDevice() {
    service.reset();
    for (const int channel : channels) {
        shutdown(channel, SHUT_RDWR);
    }
    for (std::thread& thread : channelThreads) {
        thread.join();
    }
    for (const int channel : channels) {
        close(channel);
    }
    for (const auto& [member, descriptor] : handedOut) {
        close(descriptor);
    }
    munmap(memory, kMemorySize);
    close(memoryDescriptor);
}

std::vector<std::string> OverlayDevice::calls() const {
    const std::lock_guard lock(mutex);
    return callsSoFar;
}

std::vector<std::string> OverlayDevice::interfaces() const {
    const std::lock_guard lock(mutex);
    return interfacesSoFar;
}

std::vector<std::string> OverlayDevice::requests() const {
    const std::lock_guard lock(mutex);
    return requestsSoFar;
}

void OverlayDevice::forgetCalls() {
    const std::lock_guard lock(mutex);
    callsSoFar.clear();
    interfacesSoFar.clear();
    requestsSoFar.clear();
}

void OverlayDevice::failAt(int n) {
    const std::lock_guard lock(mutex);
    untilFailure = n;
}

bool OverlayDevice::hasNotFailed() const {
    const std::lock_guard lock(mutex);
    return untilFailure > 0;
}

void OverlayDevice::answer(const std::string& member, Reply reply) {
    const std::lock_guard lock(mutex);
    if (reply) {
        replies[member] = std::move(reply);
    } else {
        replies.erase(member);
    }
}

void OverlayDevice::holdObjects(const std::string& manager, const std::string& objects) {
    const std::lock_guard lock(mutex);
    managedObjects[manager] = objects;
}

void OverlayDevice::answerRequests(ChannelReply reply) {
    const std::lock_guard lock(mutex);
    requestReply = std::move(reply);
}

void OverlayDevice::handOut(const std::string& member, int descriptor) {
    const std::lock_guard lock(mutex);
    if (const auto [place, isNew] = handedOut.try_emplace(member, descriptor); !isNew) {
        close(place->second);
        place->second = descriptor;
    }
}

int OverlayDevice::makeMemory(int size, int seals) {
    const int descriptor = memfd_create("buffers", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (ftruncate(descriptor, size) != 0 || fcntl(descriptor, F_ADD_SEALS, seals) != 0) {
        std::abort();
    }
    return descriptor;
}

int OverlayDevice::duplicateMemory() const {
    return fcntl(memoryDescriptor, F_DUPFD_CLOEXEC, 0);
}

unsigned char* OverlayDevice::bufferOf(int overlayId) {
    const std::lock_guard lock(mutex);
    return memory + lastBuffers.at(overlayId);
}

void OverlayDevice::emit(const std::string& path, const std::string& interface,
                         const std::string& signal, GVariant* parameters) {
    g_dbus_connection_emit_signal(connection, nullptr, path.c_str(), interface.c_str(),
                                  signal.c_str(), parameters, nullptr);
    // The bus takes a connection's messages in order: with its answer, the signal has gone out.
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
}

GDBusMessage* OverlayDevice::filter(GDBusConnection* connection, GDBusMessage* message,
                                    gboolean isIncoming, gpointer device) {
    if (isIncoming == FALSE ||
        g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
        return message;
    }
    static_cast<OverlayDevice*>(device)->reply(connection, message);
    g_object_unref(message);
    return nullptr;
}

void OverlayDevice::reply(GDBusConnection* bus, GDBusMessage* call) {
    const std::lock_guard lock(mutex);
    callsSoFar.push_back(std::string(g_dbus_message_get_member(call)) + " " +
                         g_dbus_message_get_path(call) + " " +
                         printed(g_dbus_message_get_body(call)));
    interfacesSoFar.emplace_back(g_dbus_message_get_interface(call));
    g_autoptr(GDBusMessage) answer =
        isToFail() ? g_dbus_message_new_method_error_literal(call, "com.orva.Error", "told to")
                   : makeReply(call);
    g_dbus_connection_send_message(bus, answer, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
}

bool OverlayDevice::isToFail() {
    return untilFailure > 0 && --untilFailure == 0;
}

GDBusMessage* OverlayDevice::makeReply(GDBusMessage* call) {
    const std::string member = g_dbus_message_get_member(call);
    GVariant* body = nullptr;
    if (const auto other = replies.find(member); other != replies.end()) {
        body = other->second();
        if (body == nullptr) {
            return g_dbus_message_new_method_error_literal(call, "com.orva.Error", "no");
        }
    } else if (member == "GetCommandChannel" || member == "OpenCameraDevice") {
        return makeDescriptorReply(call, member);
    } else {
        body = makeBody(member, g_dbus_message_get_path(call));
    }
    GDBusMessage* message = g_dbus_message_new_method_reply(call);
    g_dbus_message_set_body(message, body);
    return message;
}

GDBusMessage* OverlayDevice::makeDescriptorReply(GDBusMessage* call, const std::string& member) {
    g_autoptr(GUnixFDList) list = g_unix_fd_list_new();
    if (const auto other = handedOut.find(member); other != handedOut.end()) {
        g_unix_fd_list_append(list, other->second, nullptr);
    } else if (member == "OpenCameraDevice") {
        g_unix_fd_list_append(list, memoryDescriptor, nullptr);
    } else {
        std::array<int, 2> ends{};
        socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data());
        g_unix_fd_list_append(list, ends[1], nullptr);
        close(ends[1]);
        channels.push_back(ends[0]);
        channelThreads.emplace_back([this, end = ends[0]] { serveChannel(end); });
    }
    GDBusMessage* message = g_dbus_message_new_method_reply(call);
    g_dbus_message_set_body(message, g_variant_new("(h)", 0));
    g_dbus_message_set_unix_fd_list(message, list);
    return message;
}

GVariant* OverlayDevice::makeBody(const std::string& member, const std::string& path) {
    if (member == "CreateOverlay") {
        const std::string made = "/com/orva/Overlay2/Overlay/" + std::to_string(++lastOverlay);
        return g_variant_new("(o)", made.c_str());
    }
    if (member == "Get") {
        const int id = std::stoi(path.substr(path.rfind('/') + 1));
        return g_variant_new("(v)", g_variant_new_int32(id));
    }
    if (member == "GetManagedObjects") {
        const std::string text = "(" + managedObjects.try_emplace(path, "{}").first->second + ",)";
        return g_variant_parse(G_VARIANT_TYPE("(a{oa{sa{sv}}})"), text.c_str(), nullptr, nullptr,
                               nullptr);
    }
    return g_variant_new("()");
}

void OverlayDevice::serveChannel(int descriptor) {
    std::array<char, 4096> data;
    for (;;) {
        const ssize_t size = recv(descriptor, data.data(), data.size(), 0);
        if (size <= 0) {
            return;
        }
        const std::string reply = channelReply({data.data(), static_cast<std::size_t>(size)});
        if (reply.empty()) {
            shutdown(descriptor, SHUT_RDWR);
            return;
        }
        send(descriptor, reply.data(), reply.size(), MSG_NOSIGNAL);
    }
}

std::string OverlayDevice::channelReply(const std::string& request) {
    const std::lock_guard lock(mutex);
    requestsSoFar.push_back(request);
    if (isToFail()) {
        return std::string(R"({"error": {"code": 1}})") + '\0';
    }
    if (requestReply) {
        return requestReply(request);
    }
    json_t* root = json_loads(request.c_str(), 0, nullptr);
    int overlayId = 0;
    json_unpack(root, "{s{si}}", "params", "overlayId", &overlayId);
    const bool isForABuffer = request.find("getBuffer") != std::string::npos;
    json_decref(root);
    if (!isForABuffer) {
        return std::string(R"({"apiVersion": "1.0", "method": "submitBuffer"})") + '\0';
    }
    lastBuffer = (lastBuffer + 1) % kBuffers;
    lastBuffers[overlayId] = lastBuffer * kBufferSize;
    return R"({"data": {"buffer": )" + std::to_string(lastBuffer * kBufferSize) + "}}" + '\0';
}
