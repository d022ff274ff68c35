#include "analytics/analytics_service.h"

#include <cstdio>
#include <utility>

namespace {

constexpr const char* kName = "com.orva.Onvif.Analytics1";
constexpr const char* kPath = "/com/orva/Onvif/Analytics1";
constexpr const char* kInterface = "com.orva.Onvif.Analytics1";
constexpr const char* kTypesInterface = "com.orva.Host.RuleTypes1";
constexpr const char* kChangeSignal = "RulesChanged";

constexpr unsigned kRetryInterval = 100;  // milliseconds

constexpr const char* kIntrospection = R"xml(<node>
  <interface name="com.orva.Onvif.Analytics1">
    <method name="RegisterRule">
      <arg name="description" type="s" direction="in"/>
      <arg name="options" type="s" direction="in"/>
      <arg name="path" type="o" direction="in"/>
      <arg name="interface" type="s" direction="in"/>
    </method>
  </interface>
  <interface name="com.orva.Host.RuleTypes1">
    <!-- provider, object path, interface, description, options, changes by video source -->
    <method name="ListRuleTypes">
      <arg name="types" type="a(sosssa{iu})" direction="out"/>
    </method>
    <signal name="Changed"/>
  </interface>
</node>)xml";

void say(const std::string& text) {
    g_autoptr(GDateTime) now = g_date_time_new_now_utc();
    g_autofree char* time = g_date_time_format(now, "%Y-%m-%dT%H:%M:%S.%fZ");
    std::printf("%s %s\n", time, text.c_str());
    std::fflush(stdout);
}

const char* errorName(RegistrationError::Reason reason) {
    switch (reason) {
        case RegistrationError::Reason::InvalidType:
            return "com.orva.Onvif.Analytics1.Error.InvalidRuleType";
        case RegistrationError::Reason::InvalidOptions:
            return "com.orva.Onvif.Analytics1.Error.InvalidRuleOptions";
        case RegistrationError::Reason::InvalidInterface:
            return "com.orva.Onvif.Analytics1.Error.InvalidInterface";
        case RegistrationError::Reason::TooMany:
            return "com.orva.Onvif.Analytics1.Error.TooManyRuleTypes";
    }
    return "com.orva.Onvif.Analytics1.Error.Failed";
}

GDBusConnection* openBus(GError** error) {
    g_autofree char* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, error);
    if (address == nullptr) {
        return nullptr;
    }
    const auto flags =
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    GDBusConnection* bus =
        g_dbus_connection_new_for_address_sync(address, flags, nullptr, nullptr, error);
    if (bus != nullptr) {
        g_dbus_connection_set_exit_on_close(bus, FALSE);
    }
    return bus;
}

}  // namespace

AnalyticsService::AnalyticsService()
    : introspection(g_dbus_node_info_new_for_xml(kIntrospection, nullptr)) {
    connectLater(0);
}

AnalyticsService::~AnalyticsService() {
    leave();
    if (retry != 0) {
        g_source_remove(retry);
    }
    g_dbus_node_info_unref(introspection);
}

void AnalyticsService::connectLater(unsigned delay) {
    if (retry == 0) {
        retry = g_timeout_add(
            delay,
            [](gpointer self) -> gboolean {
                static_cast<AnalyticsService*>(self)->connect();
                return G_SOURCE_REMOVE;
            },
            this);
    }
}

void AnalyticsService::connect() {
    retry = 0;
    bus = openBus(nullptr);
    if (bus == nullptr || !serve()) {
        leave();
        connectLater(kRetryInterval);
    } else {
        say(std::string("serving as ") + kName);
    }
}

bool AnalyticsService::serve() {
    g_signal_connect_swapped(bus, "closed", G_CALLBACK(+[](AnalyticsService* self) {
                                 say("the bus has gone");
                                 self->leave();
                                 self->connectLater(kRetryInterval);
                             }),
                             this);
    registerObject(kInterface);
    registerObject(kTypesInterface);
    // Providers tell of changes with whatever interface they registered.
    subscription = g_dbus_connection_signal_subscribe(
        bus, nullptr, nullptr, kChangeSignal, nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
        [](GDBusConnection*, const char*, const char* path, const char* interface, const char*,
           GVariant* parameters, gpointer self) {
            static_cast<AnalyticsService*>(self)->noteChange(path, interface, parameters);
        },
        this, nullptr);
    return g_dbus_connection_is_closed(bus) == FALSE && ownName();
}

void AnalyticsService::leave() {
    for (const auto& [provider, watch] : watches) {
        g_bus_unwatch_name(watch);
    }
    watches.clear();
    registry.clear();
    if (bus != nullptr) {
        g_signal_handlers_disconnect_by_data(bus, this);
        withdraw();
        g_dbus_connection_close_sync(bus, nullptr, nullptr);
    }
    g_clear_object(&bus);
}

/// What has come in already finds nobody any more.
void AnalyticsService::withdraw() {
    for (const unsigned object : objects) {
        g_dbus_connection_unregister_object(bus, object);
    }
    objects.clear();
    if (subscription != 0) {
        g_dbus_connection_signal_unsubscribe(bus, std::exchange(subscription, 0));
    }
}

/// Whether the name could be had: not when another process owns it.
bool AnalyticsService::ownName() {
    constexpr guint32 kDoNotQueue = 4;
    constexpr guint32 kIsOwner = 1;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
        g_variant_new("(su)", kName, kDoNotQueue), G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE,
        -1, nullptr, nullptr);
    guint32 result = 0;
    if (reply != nullptr) {
        g_variant_get(reply, "(u)", &result);
    }
    return result == kIsOwner;
}

void AnalyticsService::registerObject(const char* interface) {
    static constexpr GDBusInterfaceVTable kCallbacks = {
        [](GDBusConnection*, const char*, const char*, const char*, const char* method,
           GVariant* parameters, GDBusMethodInvocation* call, gpointer self) {
            static_cast<AnalyticsService*>(self)->handleCall(method, parameters, call);
        },
        nullptr,
        nullptr,
        {}};
    objects.push_back(g_dbus_connection_register_object(
        bus, kPath, g_dbus_node_info_lookup_interface(introspection, interface), &kCallbacks, this,
        nullptr, nullptr));
}

void AnalyticsService::handleCall(const std::string& method, GVariant* parameters,
                                  GDBusMethodInvocation* call) {
    if (method == "RegisterRule") {
        registerRule(parameters, call);
    } else {
        listRuleTypes(call);
    }
}

void AnalyticsService::registerRule(GVariant* parameters, GDBusMethodInvocation* call) {
    RuleType type;
    const char *description = nullptr, *options = nullptr, *path = nullptr, *interface = nullptr;
    g_variant_get(parameters, "(&s&s&o&s)", &description, &options, &path, &interface);
    type.provider = g_dbus_method_invocation_get_sender(call);
    type.objectPath = path;
    type.interface = interface;
    type.description = description;
    type.options = options;
    try {
        say(type.provider + " offers " + registry.add(type).name);
    } catch (const RegistrationError& error) {
        say(type.provider + " registers what is refused: " + error.what());
        g_dbus_method_invocation_return_dbus_error(call, errorName(error.reason), error.what());
        return;
    }
    g_dbus_method_invocation_return_value(call, nullptr);
    watchProvider(type.provider);
    tellOfChange();
}

void AnalyticsService::listRuleTypes(GDBusMethodInvocation* call) {
    GVariantBuilder types;
    g_variant_builder_init(&types, G_VARIANT_TYPE("a(sosssa{iu})"));
    for (const RuleType& type : registry.types()) {
        GVariantBuilder changes;
        g_variant_builder_init(&changes, G_VARIANT_TYPE("a{iu}"));
        for (const auto& [source, count] : type.changes) {
            g_variant_builder_add(&changes, "{iu}", source, count);
        }
        g_variant_builder_add(&types, "(sosssa{iu})", type.provider.c_str(),
                              type.objectPath.c_str(), type.interface.c_str(),
                              type.description.c_str(), type.options.c_str(), &changes);
    }
    g_dbus_method_invocation_return_value(call, g_variant_new("(a(sosssa{iu}))", &types));
}

/// One that has left before this is told of at once.
void AnalyticsService::watchProvider(const std::string& name) {
    if (watches.contains(name)) {
        return;
    }
    watches[name] = g_bus_watch_name_on_connection(
        bus, name.c_str(), G_BUS_NAME_WATCHER_FLAGS_NONE, nullptr,
        [](GDBusConnection* connection, const char* provider, gpointer self) {
            // With the bus everybody leaves, and that is told of otherwise.
            if (connection != nullptr) {
                static_cast<AnalyticsService*>(self)->forgetProvider(provider);
            }
        },
        this, nullptr);
}

void AnalyticsService::forgetProvider(const std::string& name) {
    if (const auto watch = watches.extract(name); !watch.empty()) {
        g_bus_unwatch_name(watch.mapped());
    }
    if (registry.removeProvider(name)) {
        say(name + " has left");
        tellOfChange();
    }
}

/// Takes "(i)", which is what comes, and "(si)", which is what is declared.
void AnalyticsService::noteChange(const char* objectPath, const char* interface,
                                  GVariant* parameters) {
    gint32 source = 0;
    if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(i)")) != FALSE) {
        g_variant_get(parameters, "(i)", &source);
    } else if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(si)")) != FALSE) {
        g_variant_get(parameters, "(&si)", nullptr, &source);
    } else {
        return;
    }
    if (registry.noteChange(objectPath, interface, source)) {
        say("the rules of source " + std::to_string(source) + " have changed");
        tellOfChange();
    }
}

void AnalyticsService::tellOfChange() {
    g_dbus_connection_emit_signal(bus, nullptr, kPath, kTypesInterface, "Changed", nullptr,
                                  nullptr);
}
