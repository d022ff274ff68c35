#pragma once

#include <gio/gio.h>

#include <functional>
#include <future>
#include <string>
#include <thread>

#include "support/private_bus.h"

/// A service on a bus while it lives, with a connection of its own and a thread that runs what it
/// serves.
class BusService {
public:
    using Step = std::function<void(GDBusConnection*)>;

    /// Runs `begin` before the name is owned and `end` before the connection is closed, both on the
    /// service's thread.
    BusService(const PrivateBus& bus, const std::string& name, Step begin, Step end = {}) {
        std::promise<void> ready;
        thread = std::thread([&, this, last = std::move(end)] {
            g_main_context_push_thread_default(context);
            g_autoptr(GDBusConnection) connection = bus.connect();
            begin(connection);
            own(connection, name);
            ready.set_value();
            g_main_loop_run(loop);
            if (last) {
                last(connection);
            }
            g_dbus_connection_close_sync(connection, nullptr, nullptr);
            g_main_context_pop_thread_default(context);
        });
        ready.get_future().wait();
    }
    ~BusService() {
        // On the loop's own thread, since a loop that does not run yet would forget it.
        g_main_context_invoke(
            context,
            [](gpointer data) -> gboolean {
                g_main_loop_quit(static_cast<GMainLoop*>(data));
                return G_SOURCE_REMOVE;
            },
            loop);
        thread.join();
        g_main_loop_unref(loop);
        g_main_context_unref(context);
    }
    BusService(const BusService&) = delete;
    BusService& operator=(const BusService&) = delete;

    /// Lets a connection own a name.
    static void own(GDBusConnection* connection, const std::string& name) {
        g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
            connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "RequestName", g_variant_new("(su)", name.c_str(), 0U), nullptr, G_DBUS_CALL_FLAGS_NONE,
            -1, nullptr, nullptr);
    }

private:
    GMainContext* context = g_main_context_new();
    GMainLoop* loop = g_main_loop_new(context, FALSE);
    std::thread thread;
};
