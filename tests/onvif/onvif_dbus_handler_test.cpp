#include "onvif/onvif_dbus_handler.h"

#include <dlfcn.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <thread>

#include "cgi/cgi_handler_fixture.h"
#include "device/stream_settings.h"
#include "onvif/config_conversion_result.h"
#include "onvif/onvif_handler.h"
#include "onvif/onvif_rule_type.h"
#include "support/bus_service.h"
#include "support/main_loop_thread.h"
#include "support/private_bus.h"
#include "support/wait_for.h"

namespace {

/// What GLib is to fail at.
enum class Failing { Nothing, Introspection, Interface };
std::atomic<Failing> failing{Failing::Nothing};

template <typename Function>
Function original(Function, const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

/// Stand before GLib's own, to let them fail.
extern "C" GDBusNodeInfo* g_dbus_node_info_new_for_xml(const gchar* xml, GError** error) {
    if (failing == Failing::Introspection) {
        g_set_error_literal(error, G_MARKUP_ERROR, G_MARKUP_ERROR_PARSE, "no sense");
        return nullptr;
    }
    static const auto function =
        original(&g_dbus_node_info_new_for_xml, "g_dbus_node_info_new_for_xml");
    return function(xml, error);
}

extern "C" GDBusInterfaceInfo* g_dbus_node_info_lookup_interface(GDBusNodeInfo* info,
                                                                 const gchar* name) {
    static const auto function =
        original(&g_dbus_node_info_lookup_interface, "g_dbus_node_info_lookup_interface");
    return failing == Failing::Interface ? nullptr : function(info, name);
}

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kPath = "/com/orva/MotionRegion";
constexpr const char* kInterface = "com.orva.Onvif.Rule1";
constexpr const char* kAnalytics = "com.orva.Onvif.Analytics1";

const std::string kErrors = "com.orva.Onvif.Rule1.Error.";

std::string replaceAll(std::string text, const std::string& what, const std::string& with) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size()) {
        text.replace(at, what.size(), with);
    }
    return text;
}

std::string rule(const std::string& name) {
    return "<a><Rule Name=\"" + name +
           "\"><MotionRegionConfig Sensitivity=\"1.0\"><Point x=\"0\" y=\"0\"/>"
           "<Point x=\"0\" y=\"100\"/><Point x=\"100\" y=\"100\"/></MotionRegionConfig></Rule></a>";
}

/// The analytics service: takes every registration, on a thread and a connection of its own.
class Analytics {
public:
    explicit Analytics(const PrivateBus& bus)
        : service(
              bus, kAnalytics, [this](GDBusConnection* connection) { begin(connection); },
              [this](GDBusConnection* connection) {
                  g_dbus_connection_remove_filter(connection, filter);
              }) {}

    /// Lets registrations wait, and lets them go on.
    void hold() { g_mutex_lock(&mutex); }
    void release() { g_mutex_unlock(&mutex); }

    /// What was registered, as text, once there are that many.
    std::vector<std::string> registrations(std::size_t least) {
        EXPECT_TRUE(waitFor([&] {
            const std::lock_guard guard(access);
            return known.size() >= least;
        }));
        const std::lock_guard guard(access);
        return known;
    }
    /// Who registered last.
    std::string provider() {
        const std::lock_guard guard(access);
        return sender;
    }
    /// All calls of any method.
    int calls() {
        const std::lock_guard guard(access);
        return count;
    }

private:
    void begin(GDBusConnection* connection) {
        filter = g_dbus_connection_add_filter(
            connection,
            [](GDBusConnection*, GDBusMessage* message, gboolean isIncoming, gpointer self) {
                static_cast<Analytics*>(self)->note(message, isIncoming != FALSE);
                return message;
            },
            this, nullptr);
        g_autoptr(GDBusNodeInfo) node = g_dbus_node_info_new_for_xml(
            R"xml(<node><interface name="com.orva.Onvif.Analytics1"><method name="RegisterRule">
            <arg type="s" direction="in"/><arg type="s" direction="in"/>
            <arg type="o" direction="in"/><arg type="s" direction="in"/>
            </method></interface></node>)xml",
            nullptr);
        const GDBusInterfaceVTable table = {
            [](GDBusConnection*, const char* caller, const char*, const char*, const char*,
               GVariant* parameters, GDBusMethodInvocation* call,
               gpointer self) { static_cast<Analytics*>(self)->take(caller, parameters, call); },
            nullptr,
            nullptr,
            {}};
        g_dbus_connection_register_object(connection, "/com/orva/Onvif/Analytics1",
                                          node->interfaces[0], &table, this, nullptr, nullptr);
    }

    void note(GDBusMessage* message, bool isIncoming) {
        if (isIncoming &&
            g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
            const std::lock_guard guard(access);
            ++count;
        }
    }
    void take(const char* caller, GVariant* parameters, GDBusMethodInvocation* call) {
        g_autofree char* text = g_variant_print(parameters, TRUE);
        {
            const std::lock_guard guard(access);
            known.emplace_back(text);
            sender = caller;
        }
        g_autoptr(GMutexLocker) held = g_mutex_locker_new(&mutex);
        g_dbus_method_invocation_return_value(call, nullptr);
    }

    GMutex mutex = {};
    std::mutex access;
    std::vector<std::string> known;
    std::string sender;
    int count = 0;
    unsigned filter = 0;
    BusService service;  // last, so that it ends before what it uses
};

/// The address is there before the handler is.
class WithBusAddress {
protected:
    FixedBusAddress address;
};

class OnvifDBusHandlerTest : protected WithBusAddress,
                             public CGI_HandlerFixture<Onvif_CGI_Handler> {
protected:
    OnvifDBusHandlerTest() : operations(*handler) {
        store(documentOf({}));
        EXPECT_EQ(set(documentOf({1})), StatusOk);
        log.clear();
    }
    ~OnvifDBusHandlerTest() override {
        failing = Failing::Nothing;
        service.reset();
        closeClient();
        analytics.reset();
        loop.reset();
        // The way back to the bus holds connections until it has found that it was given up.
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
        handler.reset();
        bus.reset();
    }

    void startBus() {
        bus.emplace(&address);
        client = bus->connect();
    }
    void stopBus() {
        closeClient();
        analytics.reset();
        bus.reset();
    }
    void closeClient() {
        if (client != nullptr) {
            g_dbus_connection_close_sync(client, nullptr, nullptr);
            g_clear_object(&client);
        }
    }
    /// Bus, analytics service and main loop, and then the rule service, registered.
    void start() {
        startBus();
        analytics.emplace(*bus);
        loop.emplace();
        service = std::make_unique<OnvifDBusHandler>(&operations);
        analytics->registrations(1);
    }

    /// Calls a method of the service as it is registered: the reply as text, or the error.
    std::string call(const char* method, GVariant* parameters) {
        return callOf(analytics->provider(), kInterface, method, parameters);
    }
    std::string callOf(const std::string& destination, const char* interface, const char* method,
                       GVariant* parameters, const char* path = kPath) const {
        g_autoptr(GError) error = nullptr;
        g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
            client, destination.c_str(), path, interface, method, parameters, nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
        if (reply != nullptr) {
            g_autofree char* text = g_variant_print(reply, FALSE);
            return text;
        }
        g_autofree char* name = g_dbus_error_get_remote_error(error);
        g_dbus_error_strip_remote_error(error);
        return (name != nullptr ? std::string(name) : "local") + ": " + error->message;
    }
    std::string get(int source) {
        return call("GetRules", g_variant_new("(iiii)", source, 200, 200, 0));
    }
    std::string change(const char* method, const std::string& text, int source = 0) {
        return call(method, g_variant_new("(iiiis)", source, 200, 200, 0, text.c_str()));
    }
    std::string remove(const std::vector<const char*>& list, int source = 0) {
        std::vector<const char*> names = list;
        names.push_back(nullptr);
        return call("DeleteRules", g_variant_new("(i^as)", source, names.data()));
    }

    /// Expects that the service does not start and says so.
    void expectNoService(const std::string& reason) {
        service = std::make_unique<OnvifDBusHandler>(&operations);
        expectWarnings({"Could not initilize ONVIF Profile-T service: " + reason + "\n"});
        service.reset();
    }

    OnvifHandler operations;
    std::optional<PrivateBus> bus;
    std::optional<Analytics> analytics;
    std::optional<MainLoopThread> loop;
    GDBusConnection* client = nullptr;
    std::unique_ptr<OnvifDBusHandler> service;
};

// Statuses and names

TEST(OnvifDBusErrors, HaveTheNamesOfTheStatuses) {
    const auto name = [](int status) {
        return OnvifDBusHandler::convertStatusToErrorName(static_cast<StatusCode_e>(status));
    };
    EXPECT_EQ(name(0), "");
    EXPECT_EQ(name(2), kErrors + "InvalidRules");
    EXPECT_EQ(name(4), kErrors + "InvalidRules");
    EXPECT_EQ(name(32), kErrors + "ConfigurationConflict");
    EXPECT_EQ(name(4096), kErrors + "TooManyRules");
    for (const int other : {1, 8, 16, 64, 128, 256, 512, 1024, 2048, 6}) {
        EXPECT_EQ(name(other), kErrors + "InternalError") << other;
    }
}

// Start

TEST_F(OnvifDBusHandlerTest, DeclaresItsMethodsAndItsSignal) {
    start();
    const std::string text =
        callOf(analytics->provider(), "org.freedesktop.DBus.Introspectable", "Introspect", nullptr);
    const std::size_t begin = text.find("  <interface name=\"com.orva.Onvif.Rule1\">");
    ASSERT_NE(begin, std::string::npos);
    const std::size_t end = text.find("</interface>", begin);
    const std::string declared = replaceAll(
        replaceAll(text.substr(begin, end - begin), "\\n", "\n"), ">\n      </arg>", "/>");
    EXPECT_EQ(declared,
              R"(  <interface name="com.orva.Onvif.Rule1">
    <method name="GetRules">
      <arg type="i" name="source" direction="in"/>
      <arg type="i" name="width" direction="in"/>
      <arg type="i" name="height" direction="in"/>
      <arg type="i" name="rotation" direction="in"/>
      <arg type="s" name="rules" direction="out"/>
    </method>
    <method name="CreateRules">
      <arg type="i" name="source" direction="in"/>
      <arg type="i" name="width" direction="in"/>
      <arg type="i" name="height" direction="in"/>
      <arg type="i" name="rotation" direction="in"/>
      <arg type="s" name="rules" direction="in"/>
    </method>
    <method name="ModifyRules">
      <arg type="i" name="source" direction="in"/>
      <arg type="i" name="width" direction="in"/>
      <arg type="i" name="height" direction="in"/>
      <arg type="i" name="rotation" direction="in"/>
      <arg type="s" name="rules" direction="in"/>
    </method>
    <method name="DeleteRules">
      <arg type="i" name="source" direction="in"/>
      <arg type="as" name="names" direction="in"/>
    </method>
    <signal name="RulesChanged">
      <arg type="s" name="type"/>
      <arg type="i" name="source"/>
    </signal>
  )");
}

TEST_F(OnvifDBusHandlerTest, SaysWhichStepOfTheStartFailed) {
    startBus();
    failing = Failing::Introspection;
    expectNoService("Could not create introspect data: no sense\n");
    failing = Failing::Interface;
    expectNoService("Could not get interface info: Pointer was unexpectedly NULL");
}

TEST_F(OnvifDBusHandlerTest, SaysThatThereIsNoBus) {
    service = std::make_unique<OnvifDBusHandler>(&operations);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].level, LOG_WARNING);
    EXPECT_THAT(log.lines()[0].text,
                StartsWith("Could not initilize ONVIF Profile-T service: Could not create dbus "
                           "connection: "));
}

TEST_F(OnvifDBusHandlerTest, SaysThatItsConnectionIsClosed) {
    startBus();
    g_autoptr(GDBusConnection) shared = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    g_dbus_connection_set_exit_on_close(shared, FALSE);
    g_dbus_connection_close_sync(shared, nullptr, nullptr);
    ASSERT_TRUE(waitFor([shared] { return g_dbus_connection_is_closed(shared) != FALSE; }));
    expectNoService("Dbus connection is closed");
}

TEST_F(OnvifDBusHandlerTest, SaysThatItsObjectIsThereAlready) {
    start();
    OnvifDBusHandler second(&operations);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_THAT(log.lines()[0].text,
                StartsWith("Could not initilize ONVIF Profile-T service: Could not register "
                           "object: "));
    EXPECT_THAT(get(0), HasSubstr("Door 1"));
}

// Registration

TEST_F(OnvifDBusHandlerTest, RegistersTheRuleWithTheAnalyticsServiceThatIsThere) {
    start();
    g_autoptr(GVariant) expected =
        g_variant_ref_sink(g_variant_new("(ssos)", ONVIF::getRuleType().c_str(),
                                         ONVIF::getRuleOptions().c_str(), kPath, kInterface));
    g_autofree char* text = g_variant_print(expected, TRUE);
    EXPECT_THAT(analytics->registrations(1), ElementsAre(text));
    // An answered call comes after all that went before it: nothing else was asked.
    EXPECT_THAT(get(0), HasSubstr("Door 1"));
    EXPECT_EQ(analytics->calls(), 1);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OnvifDBusHandlerTest, RegistersOnceForEachTimeTheAnalyticsServiceAppears) {
    startBus();
    loop.emplace();
    service = std::make_unique<OnvifDBusHandler>(&operations);
    for (int round = 0; round < 3; ++round) {
        analytics.emplace(*bus);
        EXPECT_EQ(analytics->registrations(1).size(), 1U);
        EXPECT_THAT(get(0), HasSubstr("Door 1"));
        EXPECT_EQ(analytics->calls(), 1);
        analytics.reset();
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OnvifDBusHandlerTest, SaysThatTheAnalyticsServiceRefusesTheRule) {
    startBus();
    loop.emplace();
    service = std::make_unique<OnvifDBusHandler>(&operations);
    const BusNames name(*bus, {kAnalytics});
    EXPECT_TRUE(waitFor([this] { return !log.lines().empty(); }));
    EXPECT_EQ(log.lines()[0].level, LOG_WARNING);
    EXPECT_THAT(log.lines()[0].text,
                StartsWith("Could not register rule for ONVIF Profile-T service: Could not "
                           "register onvif rules: GDBus.Error:"));
}

// Methods

TEST_F(OnvifDBusHandlerTest, AnswersWithTheRulesOfTheSource) {
    start();
    EXPECT_THAT(get(0), StartsWith("('<?xml version=\"1.0\" encoding=\"utf-8\"?>\\n<GetRules>\\n"
                                   "\\t<tt:Rule Name=\"Door 1\""));
    EXPECT_EQ(get(1), "('<?xml version=\"1.0\" encoding=\"utf-8\"?>\\n<GetRules>\\n</GetRules>',)");
}

TEST_F(OnvifDBusHandlerTest, CreatesModifiesAndDeletesRules) {
    start();
    EXPECT_EQ(change("CreateRules", rule("Gate")), "()");
    EXPECT_THAT(StagedContainer::profiles(), ElementsAre(1, 2));
    EXPECT_EQ(change("ModifyRules", rule("Door 1")), "()");
    EXPECT_EQ(change("ModifyRules", rule("Nobody")), "()");
    EXPECT_EQ(remove({"Gate", "Nobody"}), "()");
    EXPECT_THAT(StagedContainer::profiles(), ElementsAre(1));
    EXPECT_EQ(remove({}), "()");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OnvifDBusHandlerTest, HandsOnTheStreamSideBySide) {
    start();
    const StreamSettings stream(400, 200, 90, false);
    const auto callWith = [this](const char* method, const std::string& text) {
        return call(method, g_variant_new("(iiiis)", 0, 400, 200, 90, text.c_str()));
    };
    const std::string before = stored();
    for (const char* method : {"CreateRules", "ModifyRules"}) {
        EXPECT_EQ(callWith(method, rule("Door 1")), "()");
        const std::string overTheBus = operations.handleGetRules(1, stream).text.get();
        store(before);
        const bool isCreate = std::string(method) == "CreateRules";
        EXPECT_EQ(isCreate ? operations.handleCreateRules(rule("Door 1"), 1, stream)
                           : operations.handleModifyRules(rule("Door 1"), 1, stream),
                  StatusOk);
        EXPECT_EQ(operations.handleGetRules(1, stream).text.get(), overTheBus) << method;
        store(before);
    }
    g_autoptr(GVariant) expected = g_variant_ref_sink(
        g_variant_new("(s)", operations.handleGetRules(1, stream).text.get().c_str()));
    g_autofree char* text = g_variant_print(expected, FALSE);
    EXPECT_EQ(call("GetRules", g_variant_new("(iiii)", 0, 400, 200, 90)), text);
}

TEST_F(OnvifDBusHandlerTest, AnswersEachFailureWithItsName) {
    start();
    EXPECT_EQ(change("CreateRules", "no XML"), kErrors + "InternalError: Error");
    EXPECT_EQ(change("ModifyRules", "no XML"), kErrors + "InvalidRules: Error");
    EXPECT_EQ(change("CreateRules", "<a/>"), kErrors + "InternalError: Error");
    store(documentOf({1, 1}));
    EXPECT_EQ(remove({}), kErrors + "ConfigurationConflict: Error");
    store(TestProfile::document({TestProfile::camera(1)}, {R"({"camera":1})"}));
    EXPECT_EQ(get(0), kErrors + "InvalidRules: Error");
    store("{}");
    EXPECT_EQ(get(0), kErrors + "InternalError: Error");
    folder.write("config.json", "");
    EXPECT_EQ(get(0), kErrors + "InternalError: Error");
}

TEST_F(OnvifDBusHandlerTest, RefusesTooManyRulesAndChangesNothing) {
    start();
    std::string answer;
    int count = 0;
    std::string before;
    do {
        before = stored();
        answer = change("CreateRules", rule("Gate " + std::to_string(count++)));
    } while (answer == "()");
    EXPECT_EQ(answer, kErrors + "TooManyRules: Error");
    EXPECT_EQ(stored(), before);
}

TEST_F(OnvifDBusHandlerTest, HasNoCameraForSourcesThatCannotBe) {
    start();
    for (const int source : {-1, -2, G_MAXINT, G_MININT}) {
        EXPECT_THAT(get(source), testing::Not(HasSubstr("Door 1"))) << source;
    }
}

TEST_F(OnvifDBusHandlerTest, AnswersAnUnknownMethodAsAnInternalError) {
    start();
    EXPECT_EQ(call("Burn", nullptr), kErrors + "InternalError: Error");
    EXPECT_EQ(call("getRules", g_variant_new("(i)", 1)), kErrors + "InternalError: Error");
    expectWarnings({"Unknown method call: Burn\n", "Unknown method call: getRules\n"});
    EXPECT_THAT(callOf(analytics->provider(), "com.orva.Other1", "Burn", nullptr),
                StartsWith("org.freedesktop.DBus.Error.Unknown"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OnvifDBusHandlerTest, LeavesOtherObjectsAndTheInterfacesOfEveryObjectToGLib) {
    start();
    const std::string provider = analytics->provider();
    EXPECT_THAT(callOf(provider, kInterface, "Burn", nullptr, "/com/orva/Other"),
                StartsWith("org.freedesktop.DBus.Error.Unknown"));
    EXPECT_EQ(callOf(provider, "org.freedesktop.DBus.Peer", "Ping", nullptr), "()");
    EXPECT_EQ(callOf(provider, "org.freedesktop.DBus.Properties", "GetAll",
                     g_variant_new("(s)", kInterface)),
              "({},)");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OnvifDBusHandlerTest, AnswersNobodyWhoWantsNoAnswer) {
    start();
    std::atomic<int> errors{0};
    const unsigned filter = g_dbus_connection_add_filter(
        client,
        [](GDBusConnection*, GDBusMessage* incoming, gboolean isIncoming, gpointer counter) {
            *static_cast<std::atomic<int>*>(counter) +=
                isIncoming != FALSE &&
                g_dbus_message_get_message_type(incoming) == G_DBUS_MESSAGE_TYPE_ERROR;
            return incoming;
        },
        &errors, nullptr);
    g_autoptr(GDBusMessage) message =
        g_dbus_message_new_method_call(analytics->provider().c_str(), kPath, kInterface, "Burn");
    g_dbus_message_set_flags(message, G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED);
    g_dbus_connection_send_message(client, message, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
                                   nullptr);
    get(0);
    expectWarnings({"Unknown method call: Burn\n"});
    EXPECT_EQ(errors, 0);
    EXPECT_EQ(call("Burn", nullptr), kErrors + "InternalError: Error");
    EXPECT_EQ(errors, 1);
    g_dbus_connection_remove_filter(client, filter);
}

TEST_F(OnvifDBusHandlerTest, LeavesArgumentsOfAnotherFormToTheBus) {
    start();
    EXPECT_THAT(call("GetRules", g_variant_new("(i)", 0)),
                StartsWith("org.freedesktop.DBus.Error.InvalidArgs: "));
}

// The bus goes and comes

TEST_F(OnvifDBusHandlerTest, IsThereAgainAfterEachReturnOfTheBus) {
    start();
    for (int round = 0; round < 3; ++round) {
        stopBus();
        startBus();
        analytics.emplace(*bus);
        EXPECT_EQ(analytics->registrations(1).size(), 1U);
        EXPECT_THAT(get(0), HasSubstr("Door 1"));
        EXPECT_EQ(change("CreateRules", "no XML"), kErrors + "InternalError: Error");
        EXPECT_EQ(call("Burn", nullptr), kErrors + "InternalError: Error");
        EXPECT_EQ(analytics->calls(), 1);
        log.clear();
    }
}

TEST_F(OnvifDBusHandlerTest, SaysNothingWhenTheBusGoesAndComes) {
    start();
    // An answer of the main loop: the registration has had its own.
    EXPECT_THAT(get(0), HasSubstr("Door 1"));
    stopBus();
    startBus();
    analytics.emplace(*bus);
    analytics->registrations(1);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OnvifDBusHandlerTest, ComesWithABusThatWasMissingAtTheStart) {
    loop.emplace();
    service = std::make_unique<OnvifDBusHandler>(&operations);
    EXPECT_EQ(log.lines().size(), 1U);
    startBus();
    analytics.emplace(*bus);
    analytics->registrations(1);
    EXPECT_THAT(get(0), HasSubstr("Door 1"));
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(OnvifDBusHandlerTest, SurvivesABusThatGoesWhileTheAnalyticsServiceIsAsked) {
    startBus();
    analytics.emplace(*bus);
    analytics->hold();
    loop.emplace();
    service = std::make_unique<OnvifDBusHandler>(&operations);
    analytics->registrations(1);
    closeClient();
    bus->stop();
    EXPECT_TRUE(waitFor([this] { return !log.lines().empty(); }));
    EXPECT_THAT(log.lines()[0].text,
                StartsWith("Could not register rule for ONVIF Profile-T service: Could not "
                           "register onvif rules: "));
    analytics->release();
    stopBus();
    startBus();
    analytics.emplace(*bus);
    analytics->registrations(1);
    EXPECT_THAT(get(0), HasSubstr("Door 1"));
}

// The end

TEST_F(OnvifDBusHandlerTest, TakesItsObjectAlong) {
    start();
    const std::string provider = analytics->provider();
    service.reset();
    const std::string answer =
        callOf(provider, kInterface, "GetRules", g_variant_new("(iiii)", 0, 200, 200, 0));
    EXPECT_THAT(answer, StartsWith("org.freedesktop.DBus.Error."));
    analytics.reset();
    analytics.emplace(*bus);
    callOf(provider, kInterface, "GetRules", g_variant_new("(iiii)", 0, 200, 200, 0));
    EXPECT_EQ(analytics->calls(), 0);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OnvifDBusHandlerTest, EndsWithoutWaitingForTheAnalyticsService) {
    startBus();
    analytics.emplace(*bus);
    analytics->hold();
    loop.emplace();
    service = std::make_unique<OnvifDBusHandler>(&operations);
    analytics->registrations(1);
    service.reset();
    analytics->release();
}

TEST_F(OnvifDBusHandlerTest, EndsWhileTheBusIsAway) {
    start();
    stopBus();
    service.reset();
    startBus();
    analytics.emplace(*bus);
    // Time to do wrong in: a connection is tried every 100 ms.
    g_usleep(150000);
    EXPECT_EQ(analytics->calls(), 0);
}

/// Calls for as long as it lives, from several threads; counts what was answered.
class Callers {
public:
    Callers(const PrivateBus& bus, std::string provider) {
        for (int number = 0; number < 3; ++number) {
            threads.emplace_back([this, &bus, provider] { run(bus, provider); });
        }
    }
    ~Callers() {
        isOver = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
    Callers(const Callers&) = delete;
    Callers& operator=(const Callers&) = delete;

    std::atomic<int> answers{0};

private:
    void run(const PrivateBus& bus, const std::string& provider) {
        g_autoptr(GDBusConnection) connection = bus.connect();
        while (!isOver) {
            g_autoptr(GVariant) reply =
                g_dbus_connection_call_sync(connection, provider.c_str(), kPath, kInterface,
                                            "DeleteRules", g_variant_new("(ias)", 0, nullptr),
                                            nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
            answers += reply != nullptr;
        }
        g_dbus_connection_close_sync(connection, nullptr, nullptr);
    }

    std::atomic<bool> isOver{false};
    std::vector<std::thread> threads;
};

TEST_F(OnvifDBusHandlerTest, NoMethodRunsWhenItsDestructorHasReturned) {
    start();
    {
        Callers callers(*bus, analytics->provider());
        EXPECT_TRUE(waitFor([&callers] { return callers.answers > 20; }));
        service.reset();
        const std::string after = stored();
        handler.reset();  // whoever runs now meets nothing
        g_usleep(20000);
        EXPECT_EQ(stored(), after);
    }
    makeHandler();
}

}  // namespace
