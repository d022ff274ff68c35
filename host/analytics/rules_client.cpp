#include "analytics/rules_client.h"

#include "command/service_error.h"

namespace {

constexpr const char* kAnalyticsName = "com.orva.Onvif.Analytics1";
constexpr const char* kAnalyticsPath = "/com/orva/Onvif/Analytics1";
constexpr const char* kTypesInterface = "com.orva.Host.RuleTypes1";

constexpr const char* kBus = "org.freedesktop.DBus";

constexpr int kTimeout = 30000;  // milliseconds

/// Ends the waiting for what lets another look be worth while: a change of registrations, a change
/// of the name's owner, or the end of the time.
class Wait {
public:
    Wait(GDBusConnection* theBus, double seconds)
        : bus(theBus), timer(g_timeout_source_new(static_cast<guint>(seconds * 1000))) {
        subscriptions[0] = subscribe(kAnalyticsName, kTypesInterface, "Changed", nullptr);
        subscriptions[1] = subscribe(kBus, kBus, "NameOwnerChanged", kAnalyticsName);
        g_source_set_callback(
            timer,
            [](gpointer self) -> gboolean {
                static_cast<Wait*>(self)->isOver = true;
                g_main_loop_quit(static_cast<Wait*>(self)->loop);
                return G_SOURCE_REMOVE;
            },
            this, nullptr);
        g_source_attach(timer, nullptr);
    }
    ~Wait() {
        for (const unsigned subscription : subscriptions) {
            g_dbus_connection_signal_unsubscribe(bus, subscription);
        }
        g_source_destroy(timer);
        g_source_unref(timer);
        g_main_loop_unref(loop);
    }
    Wait(const Wait&) = delete;
    Wait& operator=(const Wait&) = delete;

    /// False when the time is over.
    bool forChange() {
        if (!isOver) {
            g_main_loop_run(loop);
        }
        return !isOver;
    }

private:
    unsigned subscribe(const char* sender, const char* interface, const char* signal,
                       const char* argument) {
        return g_dbus_connection_signal_subscribe(
            bus, sender, interface, signal, nullptr, argument, G_DBUS_SIGNAL_FLAGS_NONE,
            [](GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*,
               gpointer self) { g_main_loop_quit(static_cast<Wait*>(self)->loop); },
            this, nullptr);
    }

    GDBusConnection* bus;  // borrowed
    GSource* timer;
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    unsigned subscriptions[2];
    bool isOver = false;
};

}  // namespace

RulesClient::RulesClient() {
    g_autoptr(GError) error = nullptr;
    bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
    ServiceError::require(bus, error);
    g_dbus_connection_set_exit_on_close(bus, FALSE);
}

RulesClient::~RulesClient() {
    g_object_unref(bus);
}

std::vector<RuleProvider> RulesClient::providers(double seconds) {
    Wait wait(bus, seconds);
    std::vector<RuleProvider> found = registered();
    while (found.empty() && wait.forChange()) {
        found = registered();
    }
    if (found.empty()) {
        throw ServiceError("nobody has registered rules with the analytics service");
    }
    return found;
}

/// Nobody, also while the analytics service is not there.
std::vector<RuleProvider> RulesClient::registered() {
    std::vector<RuleProvider> found;
    g_autoptr(GVariant) reply =
        g_dbus_connection_call_sync(bus, kAnalyticsName, kAnalyticsPath, kTypesInterface,
                                    "ListRuleTypes", nullptr, G_VARIANT_TYPE("(a(sosssa{iu}))"),
                                    G_DBUS_CALL_FLAGS_NO_AUTO_START, kTimeout, nullptr, nullptr);
    if (reply == nullptr) {
        return found;
    }
    const char *name = nullptr, *path = nullptr, *interface = nullptr, *description = nullptr,
               *options = nullptr;
    g_autoptr(GVariantIter) types = nullptr;
    g_variant_get(reply, "(a(sosssa{iu}))", &types);
    while (g_variant_iter_next(types, "(&s&o&s&s&s@a{iu})", &name, &path, &interface, &description,
                               &options, nullptr) != FALSE) {
        found.push_back({name, path, interface, description, options});
    }
    return found;
}

GVariant* RulesClient::call(const RuleProvider& provider, const char* method, GVariant* parameters,
                            const char* replyType) {
    g_autoptr(GError) error = nullptr;
    GVariant* reply = g_dbus_connection_call_sync(
        bus, provider.name.c_str(), provider.objectPath.c_str(), provider.interface.c_str(), method,
        parameters, G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NO_AUTO_START, kTimeout, nullptr,
        &error);
    ServiceError::require(reply, error);
    return reply;
}
