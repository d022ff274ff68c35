#include "analytics/analytics_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "bus_client.h"

namespace {

using testing::HasSubstr;

constexpr const char* kName = "com.orva.Onvif.Analytics1";
constexpr const char* kPath = "/com/orva/Onvif/Analytics1";
constexpr const char* kTypes = "com.orva.Host.RuleTypes1";
constexpr const char* kDescription = "<tt:RuleDescription Name=\"tt:MotionRegionDetector\"/>";
constexpr const char* kOptions = "<axt:MotionRegionConfigOptions/>";
constexpr const char* kProviderPath = "/com/orva/MotionRegion";
constexpr const char* kProviderInterface = "com.orva.Onvif.Rule1";

class AnalyticsServiceTest : public testing::Test {
protected:
    AnalyticsServiceTest() {
        bus.emplace();
        client.emplace(*bus);
    }
    ~AnalyticsServiceTest() override {
        client.reset();
        other.reset();
        service.reset();
        bus.reset();
    }

    void start() {
        service.emplace();
        ASSERT_TRUE(waitUntilThere());
    }
    bool waitUntilThere() {
        return pumpUntil([this] { return types(*client) == "([],)"; });
    }
    void restartBus() {
        client.reset();
        other.reset();
        bus.reset();
        bus.emplace();
        client.emplace(*bus);
    }
    static std::string types(BusClient& from) {
        return from.call(kName, kPath, kTypes, "ListRuleTypes", nullptr);
    }
    static std::string registerRule(BusClient& from, const char* description = kDescription,
                                    const char* options = kOptions,
                                    const char* interface = kProviderInterface) {
        return from.call(kName, kPath, kName, "RegisterRule",
                         g_variant_new("(ssos)", description, options, kProviderPath, interface));
    }
    static std::string motion(const std::string& provider, const std::string& changes = "{}") {
        return "([('" + provider + "', '" + kProviderPath + "', '" + kProviderInterface + "', '" +
               kDescription + "', '" + kOptions + "', " + changes + ")],)";
    }

    std::optional<PrivateBus> bus;
    std::optional<BusClient> client;
    std::optional<BusClient> other;
    std::optional<AnalyticsService> service;
};

TEST_F(AnalyticsServiceTest, TakesARegistrationAndTellsOfIt) {
    start();
    EXPECT_EQ("()", registerRule(*client));
    EXPECT_EQ(motion(client->name()), types(*client));
}

TEST_F(AnalyticsServiceTest, RefusesARegistrationByNameAndReason) {
    start();
    const std::string prefix = "com.orva.Onvif.Analytics1.Error.";
    EXPECT_EQ(prefix + "InvalidRuleType: not a RuleDescription with a Name",
              registerRule(*client, "<a/>"));
    EXPECT_THAT(registerRule(*client, kDescription, "no XML"),
                HasSubstr(prefix + "InvalidRuleOptions: "));
    EXPECT_EQ(prefix + "InvalidInterface: not the name of an interface",
              registerRule(*client, kDescription, kOptions, "none"));
    for (int number = 0; number < 32; ++number) {
        const std::string one = "com.orva.Rule" + std::to_string(number);
        EXPECT_EQ("()", registerRule(*client, kDescription, kOptions, one.c_str()));
    }
    EXPECT_EQ(prefix + "TooManyRuleTypes: there are too many rule types", registerRule(*client));
}

TEST_F(AnalyticsServiceTest, ForgetsAProviderThatLeavesTheBus) {
    start();
    other.emplace(*bus);
    registerRule(*client);
    registerRule(*other);
    other.reset();
    EXPECT_TRUE(pumpUntil([this] { return types(*client) == motion(client->name()); }));
}

TEST_F(AnalyticsServiceTest, CountsChangesFromAnyConnectionOfTheProvider) {
    start();
    other.emplace(*bus);
    registerRule(*client);
    for (const int source : {0, 1, 0}) {
        other->signal(kName, kProviderPath, kProviderInterface, "RulesChanged",
                      g_variant_new("(i)", source));
    }
    other->signal(kName, kProviderPath, kProviderInterface, "RulesChanged",
                  g_variant_new("(si)", "tt:MotionRegionDetector", 2));
    EXPECT_TRUE(pumpUntil([this] {
        return types(*client) == motion(client->name(), "{0: 2, 1: 1, 2: 1}");
    })) << types(*client);
}

TEST_F(AnalyticsServiceTest, IgnoresChangesOfStrangersAndOfNoForm) {
    start();
    registerRule(*client);
    client->signal(kName, kProviderPath, kProviderInterface, "RulesChanged", nullptr);
    client->signal(kName, kProviderPath, kProviderInterface, "RulesChanged",
                   g_variant_new("(s)", "0"));
    client->signal(kName, "/other", kProviderInterface, "RulesChanged", g_variant_new("(i)", 0));
    client->signal(kName, kProviderPath, kProviderInterface, "Changed", g_variant_new("(i)", 0));
    EXPECT_EQ(motion(client->name()), types(*client));
}

TEST_F(AnalyticsServiceTest, TellsEachChangeByASignal) {
    start();
    int heard = 0;
    const auto count = [](GDBusConnection*, const char*, const char*, const char*, const char*,
                          GVariant*, gpointer place) { ++*static_cast<int*>(place); };
    const unsigned subscription = g_dbus_connection_signal_subscribe(
        client->connection, kName, kTypes, "Changed", kPath, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
        count, &heard, nullptr);
    registerRule(*client);
    client->signal(kName, kProviderPath, kProviderInterface, "RulesChanged",
                   g_variant_new("(i)", 0));
    EXPECT_TRUE(pumpUntil([&heard] { return heard == 2; }));
    g_dbus_connection_signal_unsubscribe(client->connection, subscription);
}

TEST_F(AnalyticsServiceTest, IsThereAgainWhenTheBusIsBackAndKnowsNobody) {
    start();
    registerRule(*client);
    restartBus();
    EXPECT_TRUE(waitUntilThere());
    EXPECT_EQ("()", registerRule(*client));
    EXPECT_EQ(motion(client->name()), types(*client));
}

TEST_F(AnalyticsServiceTest, WaitsForABusThatIsNotThereYet) {
    client.reset();
    bus.reset();
    g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", TRUE);
    service.emplace();
    g_main_context_iteration(nullptr, TRUE);
    bus.emplace();
    client.emplace(*bus);
    EXPECT_TRUE(waitUntilThere());
}

TEST_F(AnalyticsServiceTest, WaitsForANameThatAnotherHas) {
    std::optional<BusNames> owner(std::in_place, *bus, std::vector<std::string>{kName});
    service.emplace();
    g_main_context_iteration(nullptr, TRUE);
    EXPECT_THAT(types(*client), HasSubstr("org.freedesktop.DBus.Error.UnknownMethod"));
    owner.reset();
    EXPECT_TRUE(waitUntilThere());
}

}  // namespace
