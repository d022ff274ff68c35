#include "video/bus_clients.h"

namespace {

constexpr const char* kBus = "org.freedesktop.DBus";
constexpr const char* kBusPath = "/org/freedesktop/DBus";
constexpr int kPatience = 1000;  // milliseconds

}  // namespace

BusClients::BusClients(GDBusConnection* connection)
    : bus(G_DBUS_CONNECTION(g_object_ref(connection))),
      subscription(g_dbus_connection_signal_subscribe(bus, kBus, kBus, "NameOwnerChanged", kBusPath,
                                                      nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                                      onOwnerChanged, this, nullptr)) {}

BusClients::~BusClients() {
    g_dbus_connection_signal_unsubscribe(bus, subscription);
    g_object_unref(bus);
}

void BusClients::onOwnerChanged(GDBusConnection*, const char*, const char*, const char*,
                                const char*, GVariant* parameters, gpointer data) {
    if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sss)")) == FALSE) {
        return;
    }
    auto* self = static_cast<BusClients*>(data);
    const char *name = nullptr, *owner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", &name, nullptr, &owner);
    if (*name != ':' || *owner != '\0') {
        return;
    }
    self->processes.erase(name);
    for (const LeaveCallback& callback : self->callbacks) {
        callback(name);
    }
}

bool BusClients::areSame(const std::string& one, const std::string& other) {
    if (one == other) {
        return true;
    }
    const unsigned process = findProcess(one);
    return process != 0 && process == findProcess(other);
}

unsigned BusClients::findProcess(const std::string& client) {
    if (const auto found = processes.find(client); found != processes.end()) {
        return found->second;
    }
    g_autoptr(GVariant) reply =
        g_dbus_connection_call_sync(bus, kBus, kBusPath, kBus, "GetConnectionUnixProcessID",
                                    g_variant_new("(s)", client.c_str()), G_VARIANT_TYPE("(u)"),
                                    G_DBUS_CALL_FLAGS_NONE, kPatience, nullptr, nullptr);
    if (reply == nullptr) {
        return 0;
    }
    guint32 process = 0;
    g_variant_get(reply, "(u)", &process);
    processes[client] = process;
    return process;
}
