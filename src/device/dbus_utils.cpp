#include "device/dbus_utils.h"

#include <gio/gunixfdlist.h>

#include "app/glib_utils.h"
#include "app/status.h"

namespace {

constexpr int kDefaultTimeout = -1;

/// The process's shared connection or, when the bus has gone and come back since that was made, one
/// of the caller's own: a shared connection stays the closed one while anybody holds it. The caller
/// unrefs it. Null with `error` set on failure.
GDBusConnection* connect(GError** error) {
    g_autoptr(GDBusConnection) shared = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, error);
    if (shared == nullptr || g_dbus_connection_is_closed(shared) == FALSE) {
        return static_cast<GDBusConnection*>(g_steal_pointer(&shared));
    }
    g_autofree char* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, error);
    if (address == nullptr) {
        return nullptr;
    }
    const auto flags =
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    return g_dbus_connection_new_for_address_sync(address, flags, nullptr, nullptr, error);
}

}  // namespace

GDBusProxy* DBusUtils::createProxy(const std::string& name, const std::string& objectPath,
                                   const std::string& interface, const std::string& failureText,
                                   GDBusProxyFlags flags) {
    g_autoptr(GError) error = nullptr;
    g_autoptr(GDBusConnection) bus = connect(&error);
    GlibUtils::throwIfNotOk(error, failureText);
    GlibUtils::throwIfNull(bus, failureText);
    // Otherwise GLib would end the process along with the bus.
    g_dbus_connection_set_exit_on_close(bus, FALSE);
    return createProxy(bus, name, objectPath, interface, failureText, flags);
}

GDBusProxy* DBusUtils::createProxy(GDBusConnection* bus, const std::string& name,
                                   const std::string& objectPath, const std::string& interface,
                                   const std::string& failureText, GDBusProxyFlags flags) {
    g_autoptr(GError) error = nullptr;
    GDBusProxy* proxy = g_dbus_proxy_new_sync(bus, flags, nullptr, name.c_str(), objectPath.c_str(),
                                              interface.c_str(), nullptr, &error);
    GlibUtils::throwIfNotOk(error, failureText);
    GlibUtils::throwIfNull(proxy, failureText);
    return proxy;
}

GVariant* DBusUtils::callSync(GDBusProxy* proxy, const char* method, GVariant* parameters,
                              const std::string& failureText, bool needsReply) {
    g_autoptr(GError) error = nullptr;
    GVariant* reply = g_dbus_proxy_call_sync(proxy, method, parameters, G_DBUS_CALL_FLAGS_NONE,
                                             kDefaultTimeout, nullptr, &error);
    GlibUtils::throwIfNotOk(error, failureText);
    if (needsReply) {
        GlibUtils::throwIfNull(reply, failureText);
    }
    return reply;
}

int DBusUtils::getFileDescriptor(GDBusProxy* proxy, const char* method,
                                 const std::string& failureText) {
    g_autoptr(GError) error = nullptr;
    g_autoptr(GUnixFDList) descriptors = nullptr;
    g_autoptr(GVariant) reply = g_dbus_proxy_call_with_unix_fd_list_sync(
        proxy, method, nullptr, G_DBUS_CALL_FLAGS_NONE, kDefaultTimeout, nullptr, &descriptors,
        nullptr, &error);
    const std::string noChannel = failureText + ": Failed to get command channel";
    GlibUtils::throwIfNotOk(error, noChannel);
    const bool hasIndex = reply != nullptr && g_variant_is_of_type(reply, G_VARIANT_TYPE("(h)"));
    GlibUtils::throwIfNull(hasIndex ? reply : nullptr, noChannel);
    gint32 index = -1;
    g_variant_get(reply, "(h)", &index);
    utils::throwIf(index < 0, failureText + ": Failed to get index of FD list");
    const bool isListed = descriptors != nullptr && index < g_unix_fd_list_get_length(descriptors);
    const int descriptor = isListed ? g_unix_fd_list_get(descriptors, index, &error) : -1;
    const std::string noDescriptor = failureText + ": Invalid file descriptor";
    GlibUtils::throwIfNotOk(error, noDescriptor);
    utils::throwIf(descriptor < 0, noDescriptor);
    return descriptor;
}
