#pragma once

#include <gio/gio.h>

#include <string>

#include "support/private_bus.h"
#include "support/wait_for.h"

/// Runs the default main context until then; false after ten seconds.
template <typename Condition>
bool pumpUntil(Condition condition) {
    return waitFor([&] {
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
        return condition();
    });
}

/// Somebody else on the bus, on the thread that runs the default main context.
class BusClient {
public:
    explicit BusClient(const PrivateBus& bus) : connection(bus.connect()) {}
    ~BusClient() {
        g_dbus_connection_close_sync(connection, nullptr, nullptr);
        g_object_unref(connection);
    }
    BusClient(const BusClient&) = delete;
    BusClient& operator=(const BusClient&) = delete;

    std::string name() const { return g_dbus_connection_get_unique_name(connection); }

    /// Calls a method while the main context runs, and gives the reply as text, or the error's name
    /// and message.
    std::string call(const char* destination, const char* path, const char* interface,
                     const char* method, GVariant* parameters) {
        GAsyncResult* result = nullptr;
        g_dbus_connection_call(
            connection, destination, path, interface, method, parameters, nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
            [](GObject*, GAsyncResult* arrived, gpointer place) {
                *static_cast<GAsyncResult**>(place) = G_ASYNC_RESULT(g_object_ref(arrived));
            },
            &result);
        while (result == nullptr) {
            g_main_context_iteration(nullptr, TRUE);
        }
        g_autoptr(GError) error = nullptr;
        g_autoptr(GVariant) reply = g_dbus_connection_call_finish(connection, result, &error);
        g_object_unref(result);
        if (reply != nullptr) {
            g_autofree char* text = g_variant_print(reply, FALSE);
            return text;
        }
        g_autofree char* remote = g_dbus_error_get_remote_error(error);
        g_dbus_error_strip_remote_error(error);
        return std::string(remote != nullptr ? remote : "") + ": " + error->message;
    }

    /// Sends a signal to one receiver.
    void signal(const char* destination, const char* path, const char* interface, const char* name,
                GVariant* parameters) {
        g_dbus_connection_emit_signal(connection, destination, path, interface, name, parameters,
                                      nullptr);
    }

    GDBusConnection* connection;
};
