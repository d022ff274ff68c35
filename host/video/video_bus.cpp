#include "video/video_bus.h"

#include "video/bus_clients.h"
#include "video/graphics_service.h"
#include "video/listed_streams.h"
#include "video/log.h"
#include "video/overlay_service.h"

namespace {

constexpr const char* kOverlayName = "com.orva.Overlay2";
constexpr const char* kGraphicsName = "com.orva.Graphics1";
constexpr unsigned kRetryInterval = 100;  // milliseconds

/// One of our own, which does not end the process along with the bus.
GDBusConnection* openBus() {
    g_autofree char* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    if (address == nullptr) {
        return nullptr;
    }
    const auto flags =
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    GDBusConnection* bus =
        g_dbus_connection_new_for_address_sync(address, flags, nullptr, nullptr, nullptr);
    if (bus != nullptr) {
        g_dbus_connection_set_exit_on_close(bus, FALSE);
    }
    return bus;
}

}  // namespace

/// What is there as long as a connection.
struct VideoBus::Services {
    explicit Services(const VideoBus& all)
        : clients(all.bus),
          overlays(all.bus, clients, all.store, all.streams, all.files, all.faults, all.cameras),
          graphics(all.bus, clients, all.store, all.streams, all.faults) {}

    BusClients clients;
    OverlayService overlays;
    GraphicsService graphics;
};

VideoBus::VideoBus(OverlayStore& overlays, ListedStreams& listed, const UserOverlayFiles& userFiles,
                   FaultPlan& plan, int cameraCount)
    : store(overlays), streams(listed), files(userFiles), faults(plan), cameras(cameraCount) {
    connectLater(0);
}

VideoBus::~VideoBus() {
    leave();
    if (retry != 0) {
        g_source_remove(retry);
    }
}

void VideoBus::connectLater(unsigned delay) {
    if (retry == 0) {
        retry = g_timeout_add(
            delay,
            [](gpointer self) -> gboolean {
                static_cast<VideoBus*>(self)->connect();
                return G_SOURCE_REMOVE;
            },
            this);
    }
}

void VideoBus::connect() {
    retry = 0;
    bus = openBus();
    if (bus == nullptr || !serve()) {
        leave();
        connectLater(kRetryInterval);
    } else {
        say(std::string("serving as ") + kOverlayName + " and " + kGraphicsName);
    }
}

bool VideoBus::serve() {
    g_signal_connect_swapped(bus, "closed", G_CALLBACK(+[](VideoBus* self) {
                                 say("the bus has gone");
                                 self->leave();
                                 self->connectLater(kRetryInterval);
                             }),
                             this);
    services = std::make_unique<Services>(*this);
    return g_dbus_connection_is_closed(bus) == FALSE && own(kOverlayName) && own(kGraphicsName);
}

void VideoBus::leave() {
    services.reset();
    if (bus != nullptr) {
        g_signal_handlers_disconnect_by_data(bus, this);
        g_dbus_connection_close_sync(bus, nullptr, nullptr);
    }
    g_clear_object(&bus);
}

/// Whether the name could be had: not when another process owns it.
bool VideoBus::own(const char* name) {
    constexpr guint32 kDoNotQueue = 4;
    constexpr guint32 kIsOwner = 1;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
        g_variant_new("(su)", name, kDoNotQueue), G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1,
        nullptr, nullptr);
    guint32 result = 0;
    if (reply != nullptr) {
        g_variant_get(reply, "(u)", &result);
    }
    return result == kIsOwner;
}
