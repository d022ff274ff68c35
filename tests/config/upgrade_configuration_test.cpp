#include "config/upgrade_configuration.h"

#include <gtest/gtest.h>

#include "support/json_support.h"
#include "support/status_matchers.h"
#include "support/test_device.h"

namespace {

class UpgradeConfigurationTest : public testing::Test {
protected:
    UpgradeConfigurationTest() { device.hasSources(3); }

    TestDevice device;
};

TEST_F(UpgradeConfigurationTest, ChangesNothingWhileAllSourcesAreSupported) {
    const std::string text =
        R"({"params":{"cameras":[{"id":1},{"id":2},{"id":3}],"profiles":[{"camera":2}]}})";
    const JsonAutoPtr document = json(text);
    EXPECT_FALSE(upgradeConfiguration(document.get()));
    EXPECT_EQ(textOf(document), text);
}

TEST_F(UpgradeConfigurationTest, DoesNotLookAtProfilesWithoutNeed) {
    EXPECT_FALSE(upgradeConfiguration(json(R"({"params":{"cameras":[{"id":1}]}})").get()));
}

TEST_F(UpgradeConfigurationTest, RemovesACameraWithItsProfilesAndKeepsTheOrderOfTheRest) {
    device.hasRadarAs(2);
    const JsonAutoPtr document = json(
        R"({"x":1,"params":{"cameras":[{"id":1},{"id":2},{"id":3}],"profiles":[)"
        R"({"uid":1,"camera":1},{"uid":2,"camera":2},{"uid":3,"camera":3},{"uid":4,"camera":2},)"
        R"({"uid":5,"camera":1}]}})");
    EXPECT_TRUE(upgradeConfiguration(document.get()));
    EXPECT_EQ(textOf(document),
              R"({"x":1,"params":{"cameras":[{"id":1},{"id":3}],"profiles":[)"
              R"({"uid":1,"camera":1},{"uid":3,"camera":3},{"uid":5,"camera":1}]}})");
}

TEST_F(UpgradeConfigurationTest, RemovesACameraOfNumberZero) {
    const JsonAutoPtr document =
        json(R"({"params":{"cameras":[{"id":0},{"id":1}],"profiles":[]}})");
    EXPECT_TRUE(upgradeConfiguration(document.get()));
    EXPECT_EQ(textOf(document), R"({"params":{"cameras":[{"id":1}],"profiles":[]}})");
}

TEST_F(UpgradeConfigurationTest, RefusesADocumentWithoutWhatItNeeds) {
    device.hasRadarAs(2);
    const std::vector<std::pair<std::string, std::string>> failures = {
        {"{}", "Could not get 'params': "},
        {"[]", "Could not get 'params': "},
        {R"({"params":{}})", "Could not get 'cameras': "},
        {R"({"params":{"cameras":{}}})", "Could not get 'cameras': "},
        {R"({"params":{"cameras":[{"id":2},{}]}})", "Could not unpack data for the camera"},
        {R"({"params":{"cameras":[null]}})", "Could not unpack data for the camera"},
        {R"({"params":{"cameras":[{"id":2}]}})", "Could not get 'profiles': "},
        {R"({"params":{"cameras":[{"id":2}],"profiles":[{}]}})",
         "Could not unpack camera for the profile"},
        {R"({"params":{"cameras":[{"id":2}],"profiles":[null]}})",
         "Could not unpack camera for the profile"},
    };
    for (const auto& [text, message] : failures) {
        expectStatus([&, document = json(text)] { upgradeConfiguration(document.get()); },
                     StatusMissingParameter, message);
    }
    expectStatus([] { upgradeConfiguration(nullptr); }, StatusMissingParameter,
                 "Could not get 'params': ");
}

}  // namespace
