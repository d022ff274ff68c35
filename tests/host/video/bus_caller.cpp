#include "bus_caller.h"

#include <gio/gunixfdlist.h>

namespace {

constexpr int kPatience = 20000;  // milliseconds

std::string textOf(const GError& error) {
    g_autofree char* remote = g_dbus_error_get_remote_error(&error);
    const std::string text = error.message;
    const std::string prefix = std::string("GDBus.Error:") + (remote != nullptr ? remote : "");
    return remote == nullptr ? text : text.substr(prefix.size() - std::string(remote).size());
}

}  // namespace

BusCaller::BusCaller(const PrivateBus& bus) : connection(bus.connect()) {}

BusCaller::~BusCaller() {
    g_dbus_connection_close_sync(connection, nullptr, nullptr);
    g_object_unref(connection);
}

std::string BusCaller::call(const std::string& service, const std::string& path,
                            const std::string& interface, const std::string& method,
                            GVariant* parameters, int descriptor) const {
    g_autoptr(GError) error = nullptr;
    g_autoptr(GUnixFDList) list = nullptr;
    if (descriptor >= 0) {
        list = g_unix_fd_list_new();
        g_unix_fd_list_append(list, descriptor, nullptr);
    }
    g_autoptr(GVariant) reply = g_dbus_connection_call_with_unix_fd_list_sync(
        connection, service.c_str(), path.c_str(), interface.c_str(), method.c_str(), parameters,
        nullptr, G_DBUS_CALL_FLAGS_NONE, kPatience, list, nullptr, nullptr, &error);
    if (reply == nullptr) {
        return textOf(*error);
    }
    g_autofree char* text = g_variant_print(reply, TRUE);
    return text;
}

FileDescriptor BusCaller::callForDescriptor(const std::string& service, const std::string& path,
                                            const std::string& interface,
                                            const std::string& method) const {
    g_autoptr(GUnixFDList) list = nullptr;
    g_autoptr(GVariant) reply = g_dbus_connection_call_with_unix_fd_list_sync(
        connection, service.c_str(), path.c_str(), interface.c_str(), method.c_str(), nullptr,
        nullptr, G_DBUS_CALL_FLAGS_NONE, kPatience, nullptr, &list, nullptr, nullptr);
    return FileDescriptor(list != nullptr ? g_unix_fd_list_get(list, 0, nullptr) : -1);
}

bool BusCaller::isOnBus(const std::string& service) const {
    return call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                "NameHasOwner", g_variant_new("(s)", service.c_str())) == "(true,)";
}

SignalRecord::SignalRecord(const PrivateBus& bus, const std::string& service)
    : connection(bus.connect()) {
    subscription = g_dbus_connection_signal_subscribe(
        connection, service.c_str(), nullptr, nullptr, nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
        [](GDBusConnection*, const char*, const char* path, const char*, const char* member,
           GVariant* parameters, gpointer data) {
            g_autofree char* text = g_variant_print(parameters, TRUE);
            Record& place = **static_cast<std::shared_ptr<Record>*>(data);
            const std::lock_guard lock(place.mutex);
            place.signals.push_back(std::string(path) + " " + member + " " + text);
        },
        new std::shared_ptr<Record>(record),
        [](gpointer data) { delete static_cast<std::shared_ptr<Record>*>(data); });
    // With the bus's answer, the subscription is there.
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, kPatience, nullptr, nullptr);
}

SignalRecord::~SignalRecord() {
    g_dbus_connection_signal_unsubscribe(connection, subscription);
    g_dbus_connection_close_sync(connection, nullptr, nullptr);
    g_object_unref(connection);
}

std::vector<std::string> SignalRecord::get() const {
    const std::lock_guard lock(record->mutex);
    return record->signals;
}
