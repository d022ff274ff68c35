#include "overlay/overlay_property_subscription.h"

#include <gio/gio.h>
#include <syslog.h>

#include <stdexcept>
#include <string>

#include "app/glib_utils.h"
#include "app/status.h"
#include "device/dbus_utils.h"
#include "overlay/overlay_properties.h"

namespace {

constexpr const char* kOverlay = "com.orva.Overlay2.Overlay";

/// The text of a property; empty when it is none.
std::string textOf(GVariant* value) {
    const bool isText = g_variant_is_of_type(value, G_VARIANT_TYPE_STRING) != FALSE;
    return isText ? g_variant_get_string(value, nullptr) : "";
}

/// What came in a signal: the values that changed, and the names of more that did.
struct Change {
    GVariant* values;      // borrowed, "a{sv}"
    const char** invalid;  // borrowed

    bool has(const char* name) const {
        g_autoptr(GVariant) value = g_variant_lookup_value(values, name, nullptr);
        return value != nullptr || g_strv_contains(invalid, name) != FALSE;
    }
};

/// A number below 0 is in no object's path.
std::string pathOf(int overlayId) {
    utils::throwIf(overlayId < 0, "No overlay has the id " + std::to_string(overlayId));
    return "/com/orva/Overlay2/Overlay/" + std::to_string(overlayId);
}

std::string ask(GDBusProxy* proxy, const char* name) {
    const std::string failure = std::string("Failed to get the property ") + name;
    g_autoptr(GVariant) reply =
        DBusUtils::callSync(proxy, "Get", g_variant_new("(ss)", kOverlay, name), failure, true);
    const bool isRight = g_variant_is_of_type(reply, G_VARIANT_TYPE("(v)")) != FALSE;
    GlibUtils::throwIfNull(isRight ? reply : nullptr, failure);
    g_autoptr(GVariant) value = nullptr;
    g_variant_get(reply, "(v)", &value);
    return textOf(value);
}

/// The new value, or the one that holds on.
std::string find(const Change& change, GDBusProxy* proxy, const char* name) {
    g_autoptr(GVariant) value = g_variant_lookup_value(change.values, name, nullptr);
    return value != nullptr ? textOf(value) : ask(proxy, name);
}

OverlayProperties read(const Change& change, GDBusProxy* proxy, int overlayId) {
    const std::string size = find(change, proxy, "Size");
    OverlayProperties properties;
    properties.id = overlayId;
    properties.height = size.substr(size.find('x') + 1);
    properties.position = find(change, proxy, "Position");
    return properties;
}

}  // namespace

/// What a signal needs, and the proxy that brings it.
class OverlayPropertySubscription::Connection {
public:
    Connection(int overlayId, const Callback& callback);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

private:
    /// Belongs to the signal, which may outlive the connection by a moment.
    struct Subscriber {
        const int overlayId;
        const Callback callback;
    };

    static void onSignal(GDBusProxy* proxy, const char* sender, const char* signal,
                         GVariant* parameters, gpointer subscriber);

    GDBusProxy* proxy;  // owned
    gulong signalId;
};

OverlayPropertySubscription::Connection::Connection(int overlayId, const Callback& callback)
    : proxy(DBusUtils::createProxy("com.orva.Overlay2", pathOf(overlayId),
                                   "org.freedesktop.DBus.Properties",
                                   "Failed to create proxy for overlay properties",
                                   G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES)),
      signalId(g_signal_connect_data(
          proxy, "g-signal", G_CALLBACK(onSignal), new Subscriber{overlayId, callback},
          [](gpointer subscriber, GClosure*) { delete static_cast<Subscriber*>(subscriber); },
          GConnectFlags{})) {}

OverlayPropertySubscription::Connection::~Connection() {
    g_signal_handler_disconnect(proxy, signalId);
    g_object_unref(proxy);
}

void OverlayPropertySubscription::Connection::onSignal(GDBusProxy* proxy, const char*,
                                                       const char* signal, GVariant* parameters,
                                                       gpointer data) {
    const bool isChange = std::string(signal) == "PropertiesChanged" &&
                          g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sa{sv}as)")) != FALSE;
    if (!isChange) {
        return;
    }
    const auto* subscriber = static_cast<const Subscriber*>(data);
    g_autoptr(GVariant) values = nullptr;
    g_autofree const char** invalid = nullptr;
    g_variant_get(parameters, "(&s@a{sv}^a&s)", nullptr, &values, &invalid);
    const Change change{values, invalid};
    if (!change.has("Size") && !change.has("Position")) {
        return;
    }
    try {
        subscriber->callback(read(change, proxy, subscriber->overlayId));
    } catch (const std::runtime_error& failure) {
        syslog(LOG_WARNING, "Could not set properties for overlay %d: %s\n", subscriber->overlayId,
               failure.what());
    }
}

OverlayPropertySubscription::OverlayPropertySubscription(int overlayId, const Callback& callback)
    : connection(std::make_shared<Connection>(overlayId, callback)) {}

void OverlayPropertySubscription::disconnect() {
    connection.reset();
}
