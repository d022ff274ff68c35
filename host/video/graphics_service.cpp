#include "video/graphics_service.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "video/bus_clients.h"
#include "video/bus_error.h"
#include "video/command_channel.h"
#include "video/listed_streams.h"
#include "video/log.h"
#include "video/overlay_store.h"

namespace {

constexpr const char* kPath = "/com/orva/Graphics1";
constexpr const char* kStreamsPath = "/com/orva/Graphics1/Stream";
constexpr const char* kOverlay = "com.orva.Graphics1.Overlay";
constexpr const char* kStream = "com.orva.Graphics1.Stream";
constexpr const char* kStreams = "com.orva.Host.Streams1";

constexpr const char* kIntrospection = R"xml(<node>
  <interface name="com.orva.Graphics1.Overlay">
    <method name="GetCommandChannel">
      <arg name="channel" type="h" direction="out"/>
    </method>
    <method name="OpenCameraDevice">
      <arg name="device" type="h" direction="out"/>
    </method>
  </interface>
  <interface name="com.orva.Graphics1.Stream">
    <property name="Stream" type="s" access="read"/>
    <property name="Camera" type="i" access="read"/>
    <property name="Type" type="s" access="read"/>
    <property name="Resolution" type="s" access="read"/>
    <property name="Rotation" type="i" access="read"/>
    <property name="MirrorEnabled" type="b" access="read"/>
  </interface>
  <interface name="com.orva.Host.Streams1">
    <method name="Remove">
      <arg name="id" type="i" direction="in"/>
    </method>
    <method name="Add">
      <arg name="id" type="i" direction="in"/>
    </method>
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

GVariant* describe(const Stream& stream) {
    const std::string id = std::to_string(stream.id);
    const std::string resolution =
        std::to_string(stream.width) + "x" + std::to_string(stream.height);
    GVariantBuilder properties;
    g_variant_builder_init(&properties, G_VARIANT_TYPE_VARDICT);
    const auto add = [&](const char* name, GVariant* value) {
        g_variant_builder_add(&properties, "{sv}", name, value);
    };
    add("Stream", g_variant_new_string(id.c_str()));
    add("Camera", g_variant_new_int32(stream.camera));
    add("Type", g_variant_new_string("h264"));
    add("Resolution", g_variant_new_string(resolution.c_str()));
    add("Rotation", g_variant_new_int32(stream.rotation));
    add("MirrorEnabled", g_variant_new_boolean(FALSE));
    return g_variant_builder_end(&properties);
}

[[noreturn]] void failByErrno(const std::string& what) {
    throw BusError(BusError::Reason::Failed, what + ": " + std::strerror(errno));
}

}  // namespace

GraphicsService::GraphicsService(GDBusConnection* bus, BusClients& busClients,
                                 OverlayStore& overlays, ListedStreams& listed, FaultPlan& plan)
    : clients(busClients),
      store(overlays),
      streams(listed),
      faults(plan),
      objects(bus, kIntrospection, clients, plan),
      streamObjects(
          objects, kStreamsPath, kStream, [this](int id) { return describe(*streams.find(id)); },
          nullptr) {
    objects.add(kPath, kOverlay, [this](const BusCall& call) {
        return call.method == "GetCommandChannel" ? openChannel(call.sender) : openCameraDevice();
    });
    objects.add(kPath, kStreams, [this](const BusCall& call) { return switchStream(call); });
    for (const Stream& stream : streams.getAll()) {
        streamObjects.addSilently(stream.id);
    }
    clients.onLeave([this](const std::string& client) { closeChannels(client); });
}

GraphicsService::~GraphicsService() = default;

BusReply GraphicsService::openChannel(const std::string& client) {
    const auto ofClient =
        std::count_if(channels.begin(), channels.end(),
                      [&](const Channel& channel) { return channel.client == client; });
    if (channels.size() >= kMostChannels ||
        static_cast<std::size_t>(ofClient) >= kMostChannelsOfAClient) {
        throw BusError(BusError::Reason::TooMany, "there are too many command channels");
    }
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        failByErrno("command channel");
    }
    FileDescriptor ours(ends[0]);
    FileDescriptor theirs(ends[1]);
    const auto place = channels.insert(channels.end(), {client, nullptr});
    place->channel = std::make_unique<CommandChannel>(
        std::move(ours),
        OverlayCommands(
            store,
            [this, client](const std::string& owner) { return clients.areSame(client, owner); }),
        faults, [this, place] { channels.erase(place); });
    say(client + " has a command channel");
    return {g_variant_new("(h)", 0), std::move(theirs)};
}

BusReply GraphicsService::openCameraDevice() const {
    FileDescriptor device(fcntl(store.getMemory(), F_DUPFD_CLOEXEC, 0));
    if (!device) {
        failByErrno("camera device");
    }
    return {g_variant_new("(h)", 0), std::move(device)};
}

BusReply GraphicsService::switchStream(const BusCall& call) {
    int id = 0;
    g_variant_get(call.parameters, "(i)", &id);
    const std::string name = "stream " + std::to_string(id);
    if (call.method == "Remove") {
        if (!streams.remove(id)) {
            throw BusError(BusError::Reason::NotFound, name + " is not listed");
        }
        streamObjects.remove(id);
        say(name + " is taken from the list");
    } else {
        if (!streams.add(id)) {
            throw BusError(BusError::Reason::NotFound, name + " was not taken from the list");
        }
        streamObjects.add(id);
        say(name + " is listed again");
    }
    return {};
}

void GraphicsService::closeChannels(const std::string& client) {
    channels.remove_if([&](const Channel& channel) { return channel.client == client; });
}
