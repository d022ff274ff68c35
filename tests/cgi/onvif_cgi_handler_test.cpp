#include "cgi/onvif_cgi_handler.h"

#include <gio/gio.h>

#include <optional>
#include <utility>

#include "cgi/cgi_handler_fixture.h"
#include "support/private_bus.h"
#include "support/wait_for.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* kNoBus = "unix:path=/nonexistent/bus";

void pump() {
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

/// The analytics service, which notes the signals that reach it.
class Analytics {
public:
    explicit Analytics(const PrivateBus& bus, const char* name = "com.orva.Onvif.Analytics1")
        : connection(bus.connect()) {
        g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
            connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "RequestName", g_variant_new("(su)", name, 0U), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
            nullptr, nullptr);
        subscription = g_dbus_connection_signal_subscribe(
            connection, nullptr, nullptr, nullptr, nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE, note,
            this, nullptr);
    }
    ~Analytics() {
        g_dbus_connection_signal_unsubscribe(connection, subscription);
        g_dbus_connection_close_sync(connection, nullptr, nullptr);
        g_object_unref(connection);
        pump();
    }
    Analytics(const Analytics&) = delete;
    Analytics& operator=(const Analytics&) = delete;

    /// The signals since the last call.
    std::vector<std::string> take() {
        pump();
        return std::exchange(signals, {});
    }
    /// The same, with all that the process has sent on its shared connection: a mark comes last.
    std::vector<std::string> takeAll() {
        g_autoptr(GDBusConnection) shared = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
        g_dbus_connection_emit_signal(shared, nullptr, "/mark", "test.Mark", "Mark", nullptr,
                                      nullptr);
        const std::string mark = "/mark test.Mark Mark () ()";
        EXPECT_TRUE(waitFor([&] {
            pump();
            return !signals.empty() && signals.back() == mark;
        }));
        signals.pop_back();
        return take();
    }

private:
    static void note(GDBusConnection*, const char* sender, const char* path, const char* interface,
                     const char* name, GVariant* body, void* self) {
        if (std::string(sender) != "org.freedesktop.DBus") {
            g_autofree char* text = g_variant_print(body, TRUE);
            static_cast<Analytics*>(self)->signals.push_back(std::string(path) + " " + interface +
                                                             " " + name + " " + text + " " +
                                                             g_variant_get_type_string(body));
        }
    }

    GDBusConnection* connection;
    unsigned subscription;
    std::vector<std::string> signals;
};

class Onvif_CGI_HandlerTest : public CGI_HandlerFixture<Onvif_CGI_Handler> {
protected:
    explicit Onvif_CGI_HandlerTest(
        const WatchedDevice::Parameters& parameters = WatchedDevice::plain)
        : CGI_HandlerFixture(withoutBus(parameters)) {
        log.clear();
        handler.reset();
    }
    ~Onvif_CGI_HandlerTest() override {
        handler.reset();
        pump();
        analytics.reset();
        bus.reset();
        EXPECT_TRUE(isSharedConnectionGoneInTime());
        g_unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    }

    /// The fixture makes a handler before there is a bus.
    static const WatchedDevice::Parameters& withoutBus(
        const WatchedDevice::Parameters& parameters) {
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", kNoBus, TRUE);
        return parameters;
    }

    void startBus() {
        bus.emplace();
        analytics.emplace(*bus);
    }
    void stopBus() {
        analytics.reset();
        bus.reset();
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", kNoBus, TRUE);
    }
    static std::string changed(int source) {
        return "/com/orva/MotionRegion com.orva.Onvif.Rule1 RulesChanged (" +
               std::to_string(source) + ",) (i)";
    }
    /// Sets configurations until a signal comes; false after ten seconds.
    bool getsASignalInTime() {
        return waitFor([this] {
            EXPECT_EQ(set(documentOf({1})), StatusOk);
            pump();
            return !analytics->take().empty();
        });
    }

    std::optional<PrivateBus> bus;
    std::optional<Analytics> analytics;
};

class TwoSources : public Onvif_CGI_HandlerTest {
protected:
    TwoSources() : Onvif_CGI_HandlerTest(WatchedDevice::twoCameras()) {}
};

}  // namespace

TEST_F(Onvif_CGI_HandlerTest, TellsTheAnalyticsServiceOfANewConfiguration) {
    startBus();
    makeHandler();
    EXPECT_THAT(log.lines(), IsEmpty());
    store(documentOf({}));
    EXPECT_EQ(set(documentOf({1})), StatusOk);
    EXPECT_THAT(analytics->takeAll(), ElementsAre(changed(0)));
    EXPECT_EQ(check(handler->handleRequest(documentOf({2}).c_str())), StatusOk);
    EXPECT_THAT(analytics->takeAll(), ElementsAre(changed(0)));
}

TEST_F(Onvif_CGI_HandlerTest, TellsNobodyElseOfANewConfiguration) {
    startBus();
    Analytics bystander(*bus, "com.orva.Bystander");
    makeHandler();
    store(documentOf({}));
    EXPECT_EQ(set(documentOf({1})), StatusOk);
    EXPECT_THAT(bystander.takeAll(), IsEmpty());
}

TEST_F(TwoSources, TellsOfEachSourceInOrder) {
    startBus();
    makeHandler();
    store(documentOf({}));
    EXPECT_EQ(set(documentOf({1})), StatusOk);
    EXPECT_THAT(analytics->takeAll(), ElementsAre(changed(0), changed(1)));
}

TEST_F(Onvif_CGI_HandlerTest, TellsNothingOfAConfigurationThatIsRefused) {
    startBus();
    makeHandler();
    EXPECT_EQ(set(documentOf({1})), StatusFileError);
    store(documentOf({}));
    EXPECT_EQ(set(documentOf({1, 1})), StatusConflict);
    EXPECT_THAT(analytics->takeAll(), IsEmpty());
}

TEST_F(Onvif_CGI_HandlerTest, TellsNothingOfTheRuleServicesOwnChanges) {
    startBus();
    makeHandler();
    store(documentOf({}));
    EXPECT_EQ(check(handler->handleSetRequestWithoutDbusSignal(documentOf({1, 2}).c_str())),
              StatusOk);
    EXPECT_THAT(StagedContainer::profiles(), ElementsAre(1, 2));
    EXPECT_EQ(check(handler->handleSetRequestWithoutDbusSignal("{")), StatusMalformedJson);
    EXPECT_THAT(analytics->takeAll(), IsEmpty());
}

TEST_F(Onvif_CGI_HandlerTest, WorksWithoutABus) {
    makeHandler();
    expectWarnings(
        {"Could not open dbus connection for signal: Could not create dbus "
         "connection\n"});
    store(documentOf({}));
    EXPECT_EQ(set(documentOf({1})), StatusOk);
    EXPECT_THAT(StagedContainer::profiles(), ElementsAre(1));
}

TEST_F(Onvif_CGI_HandlerTest, WorksWithAConnectionThatIsClosed) {
    startBus();
    g_autoptr(GDBusConnection) shared = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    ASSERT_NE(shared, nullptr);
    g_dbus_connection_set_exit_on_close(shared, FALSE);
    g_dbus_connection_close_sync(shared, nullptr, nullptr);
    ASSERT_TRUE(waitFor([shared] { return g_dbus_connection_is_closed(shared) != FALSE; }));
    makeHandler();
    expectWarnings({"Could not open dbus connection for signal: Dbus connection is closed\n"});
    store(documentOf({}));
    EXPECT_EQ(set(documentOf({1})), StatusOk);
    EXPECT_TRUE(getsASignalInTime());
}

TEST_F(Onvif_CGI_HandlerTest, TellsAgainWhenTheBusIsBack) {
    startBus();
    makeHandler();
    store(documentOf({}));
    EXPECT_EQ(set(documentOf({1})), StatusOk);
    EXPECT_THAT(analytics->takeAll(), ElementsAre(changed(0)));
    stopBus();
    EXPECT_EQ(set(documentOf({2})), StatusOk);
    EXPECT_THAT(StagedContainer::profiles(), ElementsAre(2));
    startBus();
    EXPECT_TRUE(getsASignalInTime());
}

TEST_F(Onvif_CGI_HandlerTest, TellsOnceThereIsABus) {
    makeHandler();
    store(documentOf({}));
    startBus();
    EXPECT_TRUE(getsASignalInTime());
}
