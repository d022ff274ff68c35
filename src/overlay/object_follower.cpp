#include "overlay/object_follower.h"

#include <syslog.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "app/glib_utils.h"
#include "app/status.h"
#include "device/dbus_utils.h"

/// What a signal needs; it belongs to the connection, which may outlive the object by a moment.
struct ObjectFollower::Follower {
    const Handlers& handlers;
    const Callback callback;
};

ObjectFollower::ObjectFollower(const std::string& service, const std::string& path,
                               const Handlers& handlers, Callback callback,
                               const std::string& noProxyText, const std::string& notConnectedText)
    : proxy(DBusUtils::createProxy(service, path, "org.freedesktop.DBus.ObjectManager", noProxyText,
                                   G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES)) {
    connection = g_signal_connect_data(
        proxy, "g-signal", G_CALLBACK(onSignal), new Follower{handlers, callback},
        [](gpointer follower, GClosure*) { delete static_cast<Follower*>(follower); },
        GConnectFlags{});
    if (connection == 0) {
        g_object_unref(proxy);
        throw std::runtime_error(notConnectedText);
    }
}

ObjectFollower::~ObjectFollower() {
    g_signal_handler_disconnect(proxy, connection);
    g_object_unref(proxy);
}

GVariant* ObjectFollower::listObjects(const std::string& failureText) const {
    g_autoptr(GVariant) reply =
        DBusUtils::callSync(proxy, "GetManagedObjects", nullptr, failureText, true);
    const bool isRight = g_variant_is_of_type(reply, G_VARIANT_TYPE("(a{oa{sa{sv}}})")) != FALSE;
    GlibUtils::throwIfNull(isRight ? reply : nullptr, failureText);
    return static_cast<GVariant*>(g_steal_pointer(&reply));
}

GVariant* ObjectFollower::findProperties(GVariant* interfaces) {
    for (gsize i = 0; i < g_variant_n_children(interfaces); ++i) {
        const char* name = nullptr;
        g_autoptr(GVariant) properties = nullptr;
        g_variant_get_child(interfaces, i, "{&s@a{sv}}", &name, &properties);
        if (g_str_has_prefix(name, "org.freedesktop.DBus.") == FALSE) {
            return static_cast<GVariant*>(g_steal_pointer(&properties));
        }
    }
    return nullptr;
}

void ObjectFollower::onSignal(GDBusProxy*, const char*, const char* signal, GVariant* parameters,
                              gpointer follower) {
    try {
        handleSignal(signal, parameters, *static_cast<const Follower*>(follower));
    } catch (const std::runtime_error& failure) {
        syslog(LOG_WARNING, "Error when handling stream changes: %s\n", failure.what());
    }
}

void ObjectFollower::handleSignal(const std::string& signal, GVariant* parameters,
                                  const Follower& follower) {
    if (signal == "InterfacesAdded") {
        utils::throwIf(!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(oa{sa{sv}})")),
                       "Unexpected parameters of InterfacesAdded");
        g_autoptr(GVariant) interfaces = g_variant_get_child_value(parameters, 1);
        g_autoptr(GVariant) properties = findProperties(interfaces);
        if (properties != nullptr) {
            follower.handlers.onAdded(properties, follower.callback);
        }
    } else if (signal == "InterfacesRemoved") {
        utils::throwIf(!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(oas)")),
                       "Unexpected parameters of InterfacesRemoved");
        const char* path = nullptr;
        g_variant_get_child(parameters, 0, "&o", &path);
        guint64 id = 0;
        utils::throwIf(g_ascii_string_to_unsigned(std::strrchr(path, '/') + 1, 10, 0, G_MAXINT, &id,
                                                  nullptr) == FALSE,
                       std::string("No id in the path of an object: ") + path);
        follower.handlers.onRemoved(static_cast<int>(id), follower.callback);
    } else {
        syslog(LOG_INFO, "Unknown signal in stream callback\n");
    }
}
