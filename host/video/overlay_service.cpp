#include "video/overlay_service.h"

#include <gio/gunixfdlist.h>

#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

#include "video/bus_clients.h"
#include "video/bus_error.h"
#include "video/fault_plan.h"
#include "video/log.h"
#include "video/overlay_store.h"
#include "video/palette_request_parser.h"
#include "video/user_overlay_files.h"
#include "video/user_overlay_input.h"

namespace {

using Reason = BusError::Reason;

constexpr const char* kPath = "/com/orva/Overlay2";
constexpr const char* kOverlaysPath = "/com/orva/Overlay2/Overlay";
constexpr const char* kColorPath = "/com/orva/Overlay2/PaletteColor/";
constexpr const char* kFactory = "com.orva.Overlay2.Factory";
constexpr const char* kOverlay = "com.orva.Overlay2.Overlay";
constexpr const char* kColor = "com.orva.Overlay2.PaletteColor";
constexpr const char* kOverlays = "com.orva.Host.Overlays1";
constexpr const char* kFaults = "com.orva.Host.Faults1";
constexpr int kColors = 16;

constexpr const char* kIntrospection = R"xml(<node>
  <interface name="com.orva.Overlay2.Factory">
    <method name="CreateOverlay">
      <arg name="properties" type="a{ss}" direction="in"/>
      <arg name="path" type="o" direction="out"/>
    </method>
    <method name="RemoveOverlay">
      <arg name="path" type="o" direction="in"/>
    </method>
  </interface>
  <interface name="com.orva.Overlay2.Overlay">
    <method name="SetProperties">
      <arg name="properties" type="a{ss}" direction="in"/>
    </method>
    <property name="Camera" type="i" access="read"/>
    <property name="OverlayType" type="s" access="read"/>
    <property name="OverlayId" type="i" access="read"/>
    <property name="Position" type="s" access="read"/>
    <property name="Size" type="s" access="read"/>
    <property name="Scalable" type="b" access="read"/>
  </interface>
  <interface name="com.orva.Overlay2.PaletteColor">
    <!-- red, green, blue, alpha; the switch changes nothing here -->
    <method name="SetColor">
      <arg name="red" type="y" direction="in"/>
      <arg name="green" type="y" direction="in"/>
      <arg name="blue" type="y" direction="in"/>
      <arg name="alpha" type="y" direction="in"/>
      <arg name="switch" type="b" direction="in"/>
    </method>
  </interface>
  <interface name="com.orva.Host.Overlays1">
    <method name="AddText">
      <arg name="text" type="s" direction="in"/>
      <arg name="position" type="s" direction="in"/>
      <arg name="options" type="a{ss}" direction="in"/>
      <arg name="id" type="i" direction="out"/>
    </method>
    <method name="AddImage">
      <arg name="file" type="h" direction="in"/>
      <arg name="position" type="s" direction="in"/>
      <arg name="options" type="a{ss}" direction="in"/>
      <arg name="id" type="i" direction="out"/>
    </method>
    <method name="Move">
      <arg name="id" type="i" direction="in"/>
      <arg name="position" type="s" direction="in"/>
    </method>
    <method name="Remove">
      <arg name="id" type="i" direction="in"/>
    </method>
    <!-- id, camera, type, position, text -->
    <method name="List">
      <arg name="overlays" type="a(iisss)" direction="out"/>
    </method>
  </interface>
  <interface name="com.orva.Host.Faults1">
    <method name="Set">
      <arg name="what" type="s" direction="in"/>
      <arg name="kind" type="s" direction="in"/>
      <arg name="nth" type="u" direction="in"/>
      <arg name="count" type="u" direction="in"/>
      <arg name="milliseconds" type="u" direction="in"/>
    </method>
    <method name="Clear"/>
  </interface>
  <interface name="org.freedesktop.DBus.ObjectManager">
    <method name="GetManagedObjects">
      <arg name="objects" type="a{oa{sa{sv}}}" direction="out"/>
    </method>
    <signal name="InterfacesAdded">
      <arg name="path" type="o"/>
      <arg name="interfaces" type="a{sa{sv}}"/>
    </signal>
    <signal name="InterfacesRemoved">
      <arg name="path" type="o"/>
      <arg name="interfaces" type="as"/>
    </signal>
  </interface>
</node>)xml";

std::map<std::string, std::string> readDictionary(GVariant* dictionary) {
    std::map<std::string, std::string> entries;
    GVariantIter iterator;
    g_variant_iter_init(&iterator, dictionary);
    const char *key = nullptr, *value = nullptr;
    while (g_variant_iter_next(&iterator, "{&s&s}", &key, &value) != FALSE) {
        entries[key] = value;
    }
    return entries;
}

std::map<std::string, std::string> readDictionary(const BusCall& call, gsize index) {
    g_autoptr(GVariant) dictionary = g_variant_get_child_value(call.parameters, index);
    return readDictionary(dictionary);
}

const char* typeOf(const UserOverlay& overlay) {
    return overlay.kind == UserOverlay::Kind::Text ? "textoverlay" : "imageoverlay";
}

std::size_t imageSizeOf(const UserOverlay& overlay) {
    return overlay.imageFile != nullptr ? overlay.imageFile->size() : 0;
}

std::string sizeOf(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

/// What is told of every kind of overlay.
struct Description {
    int camera;
    const char* type;
    std::string position;
    std::string size;
    bool isScalable;
};

}  // namespace

OverlayService::OverlayService(GDBusConnection* bus, BusClients& busClients, OverlayStore& overlays,
                               const ListedStreams& listed, const UserOverlayFiles& userFiles,
                               FaultPlan& plan, int cameraCount)
    : clients(busClients),
      store(overlays),
      streams(listed),
      files(userFiles),
      faults(plan),
      cameras(cameraCount),
      objects(bus, kIntrospection, clients, plan),
      overlayObjects(
          objects, kOverlaysPath, kOverlay, [this](int id) { return describe(id); },
          [this](const BusCall& call) { return setProperties(call); }) {
    serve();
    for (const auto& [id, overlay] : store.getUsers()) {
        overlayObjects.addSilently(id);
    }
    clients.onLeave([this](const std::string& client) { removePalettesOf(client); });
}

OverlayService::~OverlayService() {
    for (const int id : store.listPalettes(std::nullopt)) {
        store.removePalette(id);
    }
}

void OverlayService::serve() {
    objects.add(kPath, kFactory, [this](const BusCall& call) {
        return call.method == "CreateOverlay" ? createOverlay(call) : removeOverlay(call);
    });
    objects.add(kPath, kOverlays, [this](const BusCall& call) { return handleUserCall(call); });
    objects.add(kPath, kFaults, [this](const BusCall& call) { return planFaults(call); });
    for (int index = 0; index < kColors; ++index) {
        objects.add(kColorPath + std::to_string(index), kColor, [this, index](const BusCall& call) {
            return setColor(index, call.parameters);
        });
    }
}

BusReply OverlayService::createOverlay(const BusCall& call) {
    const PaletteRequest request =
        PaletteRequestParser::parse(readDictionary(call, 0), streams, call.sender);
    if (store.listPalettes(std::nullopt).size() >= kMostPalettes ||
        store.listPalettes(call.sender).size() >= kMostPalettesOfAClient) {
        throw BusError(Reason::TooMany, "there are too many overlays");
    }
    const int id = store.addPalette(request);
    overlayObjects.add(id);
    say(call.sender + " has made overlay " + std::to_string(id) + ", " +
        sizeOf(request.width, request.height) + " at " + request.positionText + " of stream " +
        std::to_string(request.stream.id));
    return {g_variant_new("(o)", overlayObjects.pathOf(id).c_str()), {}};
}

BusReply OverlayService::removeOverlay(const BusCall& call) {
    const char* path = nullptr;
    g_variant_get(call.parameters, "(&o)", &path);
    const int id = overlayObjects.idOf(path);
    if (id == 0) {
        throw BusError(Reason::NotFound, std::string("there is no overlay ") + path);
    }
    checkOwner(id, call.sender);
    removePalette(id);
    say(call.sender + " has removed overlay " + std::to_string(id));
    return {};
}

BusReply OverlayService::setProperties(const BusCall& call) {
    const int id = overlayObjects.idOf(call.path);
    checkOwner(id, call.sender);
    bool isVisible = store.findPalette(id)->get().isVisible;
    for (const auto& [name, value] : readDictionary(call, 0)) {
        if (name != "Visible") {
            throw BusError(Reason::BadInput, "the property \"" + name + "\" cannot be set");
        }
        isVisible = PaletteRequestParser::parseVisible(value);
    }
    store.setVisible(id, isVisible);
    return {};
}

BusReply OverlayService::setColor(int index, GVariant* parameters) {
    guint8 red = 0, green = 0, blue = 0, alpha = 0;
    g_variant_get(parameters, "(yyyyb)", &red, &green, &blue, &alpha, nullptr);
    store.setColor(index, {red, green, blue, alpha});
    return {};
}

/// Overlays of persons are no application's.
void OverlayService::checkOwner(int id, const std::string& client) {
    const PaletteOverlay* overlay = store.findPalette(id);
    if (overlay == nullptr || !clients.areSame(client, overlay->get().owner)) {
        throw BusError(Reason::NotOwner, "overlay " + std::to_string(id) + " is somebody else's");
    }
}

void OverlayService::removePalette(int id) {
    store.removePalette(id);
    overlayObjects.remove(id);
}

void OverlayService::removePalettesOf(const std::string& client) {
    for (const int id : store.listPalettes(client)) {
        removePalette(id);
        say("overlay " + std::to_string(id) + " has gone with " + client);
    }
}

BusReply OverlayService::handleUserCall(const BusCall& call) {
    if (call.method == "AddText") {
        return addText(call);
    }
    if (call.method == "AddImage") {
        return addImage(call);
    }
    if (call.method == "Move") {
        return moveUser(call);
    }
    return call.method == "Remove" ? removeUser(call) : listUsers();
}

BusReply OverlayService::addText(const BusCall& call) {
    const char *text = nullptr, *position = nullptr;
    g_variant_get(call.parameters, "(&s&s@a{ss})", &text, &position, nullptr);
    return addUser(UserOverlayInput::makeText(text, position, readDictionary(call, 2), cameras));
}

BusReply OverlayService::addImage(const BusCall& call) {
    gint32 index = -1;
    const char* position = nullptr;
    g_variant_get(call.parameters, "(h&s@a{ss})", &index, &position, nullptr);
    const bool isThere = call.descriptors != nullptr && index >= 0 &&
                         index < g_unix_fd_list_get_length(call.descriptors);
    const FileDescriptor file(isThere ? g_unix_fd_list_get(call.descriptors, index, nullptr) : -1);
    if (!file) {
        throw BusError(Reason::BadInput, "the descriptor is missing");
    }
    return addUser(
        UserOverlayInput::makeImage(file.get(), position, readDictionary(call, 2), cameras));
}

void OverlayService::checkRoomFor(const UserOverlay& overlay) const {
    if (store.getUsers().size() >= kMostUsers) {
        throw BusError(Reason::TooMany, "there are too many overlays");
    }
    std::size_t bytes = imageSizeOf(overlay);
    for (const auto& [id, other] : store.getUsers()) {
        bytes += imageSizeOf(other);
    }
    if (bytes > kMostImageBytes) {
        throw BusError(Reason::TooMany, "all images together are too large");
    }
}

BusReply OverlayService::addUser(UserOverlay overlay) {
    checkRoomFor(overlay);
    overlay.id = store.takeId();
    files.save(overlay);
    store.putUser(overlay);
    overlayObjects.add(overlay.id);
    say(std::string(typeOf(overlay)) + " " + std::to_string(overlay.id) + " is at " +
        overlay.position + " of camera " + std::to_string(overlay.camera));
    return {g_variant_new("(i)", overlay.id), {}};
}

BusReply OverlayService::moveUser(const BusCall& call) {
    int id = 0;
    const char* position = nullptr;
    g_variant_get(call.parameters, "(i&s)", &id, &position);
    UserOverlay overlay = findUser(id);
    UserOverlayInput::checkPosition(position);
    overlay.position = position;
    files.save(overlay);
    store.putUser(overlay);
    // With its size, so that nobody has to ask for that.
    overlayObjects.tellOfChange(id, {"Position", "Size"});
    say("overlay " + std::to_string(id) + " is at " + overlay.position);
    return {};
}

BusReply OverlayService::removeUser(const BusCall& call) {
    int id = 0;
    g_variant_get(call.parameters, "(i)", &id);
    findUser(id);
    files.remove(id);
    store.removeUser(id);
    overlayObjects.remove(id);
    say("overlay " + std::to_string(id) + " is removed");
    return {};
}

BusReply OverlayService::listUsers() const {
    GVariantBuilder overlays;
    g_variant_builder_init(&overlays, G_VARIANT_TYPE("a(iisss)"));
    for (const auto& [id, overlay] : store.getUsers()) {
        g_variant_builder_add(&overlays, "(iisss)", id, overlay.camera, typeOf(overlay),
                              overlay.position.c_str(), overlay.text.c_str());
    }
    return {g_variant_new("(a(iisss))", &overlays), {}};
}

const UserOverlay& OverlayService::findUser(int id) const {
    const UserOverlay* overlay = store.findUser(id);
    if (overlay == nullptr) {
        throw BusError(Reason::NotFound, "there is no text or image overlay " + std::to_string(id));
    }
    return *overlay;
}

BusReply OverlayService::planFaults(const BusCall& call) {
    if (call.method == "Clear") {
        faults.clear();
        return {};
    }
    const char *what = nullptr, *kind = nullptr;
    guint32 nth = 0, count = 0, milliseconds = 0;
    g_variant_get(call.parameters, "(&s&suuu)", &what, &kind, &nth, &count, &milliseconds);
    try {
        faults.set(what, kind, nth, count, milliseconds);
    } catch (const std::invalid_argument& error) {
        throw BusError(Reason::BadInput, error.what());
    }
    say(std::string("told to misbehave: ") + kind + " of " + what);
    return {};
}

GVariant* OverlayService::describe(int id) const {
    const PaletteOverlay* palette = store.findPalette(id);
    Description description;
    if (palette != nullptr) {
        const PaletteRequest& request = palette->get();
        description = {request.stream.camera, "paletteoverlay", request.positionText,
                       sizeOf(request.width, request.height), false};
    } else {
        const UserOverlay& overlay = findUser(id);
        description = {overlay.camera, typeOf(overlay), overlay.position,
                       sizeOf(overlay.width, overlay.height), overlay.isScalable};
    }
    GVariantBuilder properties;
    g_variant_builder_init(&properties, G_VARIANT_TYPE_VARDICT);
    const auto add = [&](const char* name, GVariant* value) {
        g_variant_builder_add(&properties, "{sv}", name, value);
    };
    add("Camera", g_variant_new_int32(description.camera));
    add("OverlayType", g_variant_new_string(description.type));
    add("OverlayId", g_variant_new_int32(id));
    add("Position", g_variant_new_string(description.position.c_str()));
    add("Size", g_variant_new_string(description.size.c_str()));
    add("Scalable", g_variant_new_boolean(description.isScalable ? TRUE : FALSE));
    return g_variant_builder_end(&properties);
}
