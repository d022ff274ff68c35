#pragma once

#include <gio/gio.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/bus_daemon.h"
#include "support/temporary_folder.h"
#include "support/wait_for.h"

/// An address for the system bus that stays while buses come and go: with other threads about, the
/// environment must not change. One at a time, beyond the buses there.
class FixedBusAddress {
public:
    FixedBusAddress() {
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + folder.path("bus")).c_str(), TRUE);
    }
    ~FixedBusAddress() { g_unsetenv("DBUS_SYSTEM_BUS_ADDRESS"); }
    FixedBusAddress(const FixedBusAddress&) = delete;
    FixedBusAddress& operator=(const FixedBusAddress&) = delete;

    /// Lets the address lead to a bus with a socket file, or nowhere without one.
    void leadTo(const std::string& address) const {
        const std::string link = folder.path("bus");
        unlink(link.c_str());
        if (!address.empty()) {
            const std::string socket = address.substr(address.find('=') + 1);
            [[maybe_unused]] const int made =
                symlink(socket.substr(0, socket.find(',')).c_str(), link.c_str());
        }
    }

private:
    TemporaryFolder folder;
};

/// A message bus of its own that stands for the system bus while it lives. One at a time; a proxy
/// or connection made while it lives must be gone before it.
class PrivateBus {
public:
    /// At the fixed address (borrowed), if there is one.
    explicit PrivateBus(const FixedBusAddress* fixedAddress = nullptr) : fixed(fixedAddress) {
        if (fixed != nullptr) {
            fixed->leadTo(daemon.getAddress());
        } else {
            g_setenv("DBUS_SYSTEM_BUS_ADDRESS", daemon.getAddress().c_str(), TRUE);
        }
    }
    ~PrivateBus() {
        if (fixed != nullptr) {
            fixed->leadTo("");
        } else {
            g_unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
        }
        stop();
    }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /// Ends the daemon, and returns when nobody answers at its address any more.
    void stop() {
        daemon.stop();
        // What waits on the main context holds connections.
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
    }

    /// A connection of the caller's own; he unrefs it.
    GDBusConnection* connect() const {
        GDBusConnection* connection = g_dbus_connection_new_for_address_sync(
            daemon.getAddress().c_str(),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr);
        g_dbus_connection_set_exit_on_close(connection, FALSE);
        return connection;
    }

private:
    BusDaemon daemon;
    const FixedBusAddress* fixed;
};

/// Waits until the process's shared connection to a bus that has ended is gone, so that the next
/// one to ask for it gets none; false after ten seconds. There is no bus meanwhile.
inline bool isSharedConnectionGoneInTime() {
    g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", TRUE);
    return waitFor([] {
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
        g_autoptr(GDBusConnection) shared = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
        return shared == nullptr;
    });
}

/// Owns names on a bus while it lives.
class BusNames {
public:
    BusNames(const PrivateBus& bus, const std::vector<std::string>& names)
        : connection(bus.connect()) {
        for (const std::string& name : names) {
            g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
                connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                "RequestName", g_variant_new("(su)", name.c_str(), 0U), nullptr,
                G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        }
    }
    ~BusNames() {
        g_dbus_connection_close_sync(connection, nullptr, nullptr);
        g_object_unref(connection);
    }
    BusNames(const BusNames&) = delete;
    BusNames& operator=(const BusNames&) = delete;

private:
    GDBusConnection* connection;
};
