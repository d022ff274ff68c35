#include "onvif/onvif_dbus_handler.h"

#include <syslog.h>

#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "app/glib_utils.h"
#include "device/bus_connection.h"
#include "device/dbus_utils.h"
#include "device/stream_settings.h"
#include "onvif/config_conversion_result.h"
#include "onvif/onvif_handler.h"
#include "onvif/onvif_rule_type.h"

namespace {

constexpr const char* kPath = "/com/orva/MotionRegion";
constexpr const char* kInterface = "com.orva.Onvif.Rule1";

constexpr const char* kAnalyticsName = "com.orva.Onvif.Analytics1";
constexpr const char* kAnalyticsPath = "/com/orva/Onvif/Analytics1";
constexpr const char* kAnalyticsInterface = "com.orva.Onvif.Analytics1";

// The signal goes out with its integer alone, as "(i)". The declaration is meant to stay as it is.
constexpr const char* kIntrospection = R"(<node>
  <interface name="com.orva.Onvif.Rule1">
    <method name="GetRules">
      <arg name="source" type="i" direction="in"/>
      <arg name="width" type="i" direction="in"/>
      <arg name="height" type="i" direction="in"/>
      <arg name="rotation" type="i" direction="in"/>
      <arg name="rules" type="s" direction="out"/>
    </method>
    <method name="CreateRules">
      <arg name="source" type="i" direction="in"/>
      <arg name="width" type="i" direction="in"/>
      <arg name="height" type="i" direction="in"/>
      <arg name="rotation" type="i" direction="in"/>
      <arg name="rules" type="s" direction="in"/>
    </method>
    <method name="ModifyRules">
      <arg name="source" type="i" direction="in"/>
      <arg name="width" type="i" direction="in"/>
      <arg name="height" type="i" direction="in"/>
      <arg name="rotation" type="i" direction="in"/>
      <arg name="rules" type="s" direction="in"/>
    </method>
    <method name="DeleteRules">
      <arg name="source" type="i" direction="in"/>
      <arg name="names" type="as" direction="in"/>
    </method>
    <signal name="RulesChanged">
      <arg name="type" type="s"/>
      <arg name="source" type="i"/>
    </signal>
  </interface>
</node>)";

/// The configuration counts cameras from 1. The greatest source wraps, to a camera nobody has.
int cameraOf(int source) {
    return static_cast<int>(static_cast<unsigned>(source) + 1U);
}

void refuse(GDBusMethodInvocation* call, StatusCode_e status) {
    g_dbus_method_invocation_return_dbus_error(
        call, OnvifDBusHandler::convertStatusToErrorName(status).c_str(), "Error");
}

void answer(GDBusMethodInvocation* call, StatusCode_e status) {
    if (status == StatusOk) {
        g_dbus_method_invocation_return_value(call, nullptr);
    } else {
        refuse(call, status);
    }
}

void getRules(OnvifHandler& handler, GVariant* parameters, GDBusMethodInvocation* call) {
    gint32 source = 0;
    StreamSettings stream;
    g_variant_get(parameters, "(iiii)", &source, &stream.width, &stream.height, &stream.rotation);
    const ConfigConversionResult result = handler.handleGetRules(cameraOf(source), stream);
    if (result.text.hasValue()) {
        g_dbus_method_invocation_return_value(call,
                                              g_variant_new("(s)", result.text.get().c_str()));
    } else {
        refuse(call, result.status.hasValue() ? result.status.get() : StatusInternalError);
    }
}

using RulesOperation = StatusCode_e (OnvifHandler::*)(const std::string&, int,
                                                      const StreamSettings&);

template <RulesOperation operation>
void changeRules(OnvifHandler& handler, GVariant* parameters, GDBusMethodInvocation* call) {
    gint32 source = 0;
    StreamSettings stream;
    const char* rules = nullptr;  // the parameters'
    g_variant_get(parameters, "(iiii&s)", &source, &stream.width, &stream.height, &stream.rotation,
                  &rules);
    answer(call, (handler.*operation)(rules, cameraOf(source), stream));
}

void deleteRules(OnvifHandler& handler, GVariant* parameters, GDBusMethodInvocation* call) {
    gint32 source = 0;
    g_autofree const char** names = nullptr;  // the texts are the parameters'
    g_variant_get(parameters, "(i^a&s)", &source, &names);
    std::vector<std::string> list;
    for (const char** name = names; *name != nullptr; ++name) {
        list.emplace_back(*name);
    }
    answer(call, handler.handleDeleteRules(list, cameraOf(source)));
}

struct Method {
    std::string_view name;
    void (*run)(OnvifHandler&, GVariant* parameters, GDBusMethodInvocation*);
};

constexpr Method kMethods[] = {
    {"GetRules", getRules},
    {"CreateRules", changeRules<&OnvifHandler::handleCreateRules>},
    {"ModifyRules", changeRules<&OnvifHandler::handleModifyRules>},
    {"DeleteRules", deleteRules},
};

/// Null for an unknown one.
const Method* findMethod(std::string_view name) {
    for (const Method& method : kMethods) {
        if (method.name == name) {
            return &method;
        }
    }
    return nullptr;
}

bool isUnknownRuleMethod(GDBusMessage* message) {
    const char* path = g_dbus_message_get_path(message);
    const char* interface = g_dbus_message_get_interface(message);
    const char* member = g_dbus_message_get_member(message);
    return g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_METHOD_CALL &&
           g_strcmp0(path, kPath) == 0 && g_strcmp0(interface, kInterface) == 0 &&
           member != nullptr && findMethod(member) == nullptr;
}

/// A message and the connection it came by.
struct Received {
    GDBusConnection* connection;  // owned
    GDBusMessage* message;        // owned
};

void release(gpointer data) {
    const auto* received = static_cast<Received*>(data);
    g_object_unref(received->connection);
    g_object_unref(received->message);
    delete received;
}

gboolean refuseUnknownMethod(gpointer data) {
    const auto [connection, message] = *static_cast<Received*>(data);
    syslog(LOG_WARNING, "Unknown method call: %s\n", g_dbus_message_get_member(message));
    if ((g_dbus_message_get_flags(message) & G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED) == 0) {
        const std::string name = OnvifDBusHandler::convertStatusToErrorName(StatusInternalError);
        g_autoptr(GDBusMessage) reply =
            g_dbus_message_new_method_error_literal(message, name.c_str(), "Error");
        g_dbus_connection_send_message(connection, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
                                       nullptr);
    }
    return G_SOURCE_REMOVE;
}

/// Takes out calls of methods that the interface does not have: GLib would answer those by itself,
/// with an error that is not this interface's. Runs on GLib's own thread.
GDBusMessage* filterUnknownMethods(GDBusConnection* connection, GDBusMessage* message,
                                   gboolean isIncoming, gpointer) {
    if (isIncoming == FALSE || !isUnknownRuleMethod(message)) {
        return message;
    }
    auto* received = new Received{G_DBUS_CONNECTION(g_object_ref(connection)), message};
    g_idle_add_full(G_PRIORITY_DEFAULT, refuseUnknownMethod, received, release);
    return nullptr;
}

void warn(const std::runtime_error& failure) {
    syslog(LOG_WARNING, "Could not initilize ONVIF Profile-T service: %s\n", failure.what());
}

void registerRuleWithAnalytics(GDBusConnection* connection) {
    try {
        constexpr auto kNothingToFollow = static_cast<GDBusProxyFlags>(
            G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES | G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS |
            G_DBUS_PROXY_FLAGS_DO_NOT_AUTO_START_AT_CONSTRUCTION);
        g_autoptr(GDBusProxy) proxy =
            DBusUtils::createProxy(connection, kAnalyticsName, kAnalyticsPath, kAnalyticsInterface,
                                   "Could not create dbus proxy", kNothingToFollow);
        g_autoptr(GVariant) reply =
            DBusUtils::callSync(proxy, "RegisterRule",
                                g_variant_new("(ssos)", ONVIF::getRuleType().c_str(),
                                              ONVIF::getRuleOptions().c_str(), kPath, kInterface),
                                "Could not register onvif rules", false);
    } catch (const std::runtime_error& failure) {
        syslog(LOG_WARNING, "Could not register rule for ONVIF Profile-T service: %s\n",
               failure.what());
    }
}

}  // namespace

/// What the callbacks work on. Each of them owns a share of it; after end() they do nothing.
class OnvifDBusHandler::Operations {
public:
    using Share = std::shared_ptr<Operations>;

    explicit Operations(OnvifHandler* theHandler) : handler(theHandler) { g_mutex_init(&mutex); }
    ~Operations() { g_mutex_clear(&mutex); }
    Operations(const Operations&) = delete;
    Operations& operator=(const Operations&) = delete;

    /// Waits for a running method.
    void end() {
        g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
        handler = nullptr;
    }

    static gpointer newShare(const Share& operations) { return new Share(operations); }
    static void deleteShare(gpointer share) { delete static_cast<Share*>(share); }

    static void handleRuleMethodCall(GDBusConnection*, const char*, const char*, const char*,
                                     const char* method, GVariant* parameters,
                                     GDBusMethodInvocation* call, gpointer share) {
        // GLib hands on declared methods alone.
        of(share).run(*findMethod(method), parameters, call);
    }

    static void onAnalyticsNameAppeared(GDBusConnection* connection, const char*, const char*,
                                        gpointer share) {
        if (!of(share).hasEnded()) {
            registerRuleWithAnalytics(connection);
        }
    }

private:
    static Operations& of(gpointer share) { return **static_cast<Share*>(share); }

    void run(const Method& method, GVariant* parameters, GDBusMethodInvocation* call) {
        g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
        if (handler != nullptr) {
            method.run(*handler, parameters, call);
        } else {
            refuse(call, StatusInternalError);
        }
    }
    bool hasEnded() {
        g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
        return handler == nullptr;
    }

    GMutex mutex;           // held while a method runs
    OnvifHandler* handler;  // borrowed; guarded by mutex, null when ended
};

std::string OnvifDBusHandler::convertStatusToErrorName(StatusCode_e status) {
    switch (status) {
        case StatusOk:
            return "";
        case StatusMalformedJson:
        case StatusMalformedXml:
            return "com.orva.Onvif.Rule1.Error.InvalidRules";
        case StatusConflict:
            return "com.orva.Onvif.Rule1.Error.ConfigurationConflict";
        case StatusTooManyRules:
            return "com.orva.Onvif.Rule1.Error.TooManyRules";
        default:
            return "com.orva.Onvif.Rule1.Error.InternalError";
    }
}

OnvifDBusHandler::OnvifDBusHandler(OnvifHandler* handler)
    : operations(std::make_shared<Operations>(handler)) {
    g_mutex_init(&mutex);
    try {
        start();
    } catch (const std::runtime_error& failure) {
        warn(failure);
    }
}

OnvifDBusHandler::~OnvifDBusHandler() {
    bus.reset();
    withdraw();
    operations->end();
    g_clear_pointer(&introspection, g_dbus_node_info_unref);
    g_mutex_clear(&mutex);
}

void OnvifDBusHandler::start() {
    g_autoptr(GError) error = nullptr;
    introspection = g_dbus_node_info_new_for_xml(kIntrospection, &error);
    GlibUtils::throwIfNotOk(error, "Could not create introspect data");
    GlibUtils::throwIfNull(introspection, "Could not create introspect data");
    GlibUtils::throwIfNull(g_dbus_node_info_lookup_interface(introspection, kInterface),
                           "Could not get interface info");
    bus = std::make_unique<BusConnection>([this](GDBusConnection* remade) { comeBack(remade); });
    // Should it be lost meanwhile, the way back must not overtake the start.
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    g_autoptr(GDBusConnection) first = bus->open(&error);
    GlibUtils::throwIfNotOk(error, "Could not create dbus connection");
    GlibUtils::throwIfNull(first, "Could not create dbus connection");
    utils::throwIf(g_dbus_connection_is_closed(first) != FALSE, "Dbus connection is closed");
    serve(first);
}

/// The caller holds the mutex. Throws std::runtime_error.
void OnvifDBusHandler::serve(GDBusConnection* served) {
    static constexpr GDBusInterfaceVTable kCallbacks = {
        Operations::handleRuleMethodCall, nullptr, nullptr, {}};
    connection = static_cast<GDBusConnection*>(g_object_ref(served));
    g_autoptr(GError) error = nullptr;
    gpointer share = Operations::newShare(operations);
    registrationId = g_dbus_connection_register_object(
        connection, kPath, g_dbus_node_info_lookup_interface(introspection, kInterface),
        &kCallbacks, share, Operations::deleteShare, &error);
    if (registrationId == 0) {
        Operations::deleteShare(share);
    }
    GlibUtils::throwIfNotOk(error, "Could not register object");
    filterId = g_dbus_connection_add_filter(connection, filterUnknownMethods, nullptr, nullptr);
    watcherId =
        g_bus_watch_name_on_connection(connection, kAnalyticsName, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                       Operations::onAnalyticsNameAppeared, nullptr,
                                       Operations::newShare(operations), Operations::deleteShare);
}

/// The caller holds the mutex, or is the last to use this object.
void OnvifDBusHandler::withdraw() {
    if (watcherId != 0) {
        g_bus_unwatch_name(std::exchange(watcherId, 0));
    }
    if (filterId != 0) {
        g_dbus_connection_remove_filter(connection, std::exchange(filterId, 0));
    }
    if (registrationId != 0) {
        g_dbus_connection_unregister_object(connection, std::exchange(registrationId, 0));
    }
    g_clear_object(&connection);
}

void OnvifDBusHandler::comeBack(GDBusConnection* remade) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    withdraw();
    try {
        serve(remade);
    } catch (const std::runtime_error& failure) {
        warn(failure);
    }
}
