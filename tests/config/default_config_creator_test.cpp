#include "config/default_config_creator.h"

#include <gtest/gtest.h>

#include <set>

#include "app/status.h"
#include "config/configuration_parser.h"
#include "config/data_boundaries.h"
#include "config/default_values.h"
#include "config/ktw_guard_factory.h"
#include "config/persistent_config_handler.h"
#include "guard/guard.h"
#include "scene/camera_configuration_container.h"
#include "support/failing_json_memory.h"
#include "support/json_support.h"
#include "support/syslog_capture.h"
#include "support/temporary_folder.h"
#include "support/test_device.h"

namespace {

class DefaultConfigCreatorTest : public testing::Test {
protected:
    JsonAutoPtr create() { return DefaultConfigCreator(false).create(defaults, "1.4"); }

    std::string member(const char* key) {
        return textOf(json_object_get(json_object_get(create().get(), "params"), key));
    }

    StatusCode_e parseStatus() {
        ConfigurationParser<KTW_GuardFactory> parser;
        parser.parse(textOf(create()), DataBoundaries::ofThisBuild());
        return parser.getStatus();
    }

    TestDevice device;
    SyslogCapture log;
    const DefaultValues defaults = DefaultValues::ofThisBuild();
};

TEST_F(DefaultConfigCreatorTest, TheFileOfAFixedCameraIsThis) {
    const TemporaryFolder folder;
    ASSERT_TRUE(PersistentConfigHandler::save(create().get(), folder.path("config.json")));
    EXPECT_EQ(
        folder.read("config.json"),
        R"({"apiVersion": "1.4", "context": "", "method": "setConfiguration", "params": )"
        R"({"cameras": [{"id": 1, "active": true, "rotation": 0}], "profiles": [{"filters": [)"
        R"({"active": true, "data": [5, 5], "type": "sizePercentage"}, )"
        R"({"active": true, "data": 1, "type": "timeShortLivedLimit"}, )"
        R"({"active": true, "data": 5, "type": "distanceSwayingObject"}], "triggers": [)"
        R"({"type": "includeArea", "data": [[-0.97, -0.97], [-0.97, 0.97], [0.97, 0.97], )"
        R"([0.97, -0.97]]}], "uid": 1, "camera": 1, "name": "Profile 1"}], )"
        R"("configurationStatus": 0}})");
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(DefaultConfigCreatorTest, TheDocumentPassesTheParserOnEveryDevice) {
    EXPECT_EQ(parseStatus(), StatusOk);
    device.isMechanicalPTZ();
    EXPECT_EQ(parseStatus(), StatusOk);
    device.hasSources(4);
    EXPECT_EQ(parseStatus(), StatusOk);
    device.hasRadarAs(2);
    EXPECT_EQ(parseStatus(), StatusOk);
}

TEST_F(DefaultConfigCreatorTest, EverySourceHasACameraAndAProfileAndTheFirstIsActive) {
    device.hasSources(2);
    EXPECT_EQ(member("cameras"), R"([{"id":1,"active":true,"rotation":0},)"
                                 R"({"id":2,"active":false,"rotation":0}])");
    const JsonAutoPtr profiles = DefaultConfigCreator(false).createProfiles(defaults, 2);
    ASSERT_EQ(json_array_size(profiles.get()), 2U);
    const json_t* second = json_array_get(profiles.get(), 1);
    EXPECT_EQ(json_integer_value(json_object_get(second, "uid")), 2);
    EXPECT_EQ(json_integer_value(json_object_get(second, "camera")), 2);
    EXPECT_STREQ(json_string_value(json_object_get(second, "name")), "Profile 1");
}

TEST_F(DefaultConfigCreatorTest, TheProductRuleMakesTheSecondSourceActive) {
    device.hasSources(2).has("root.Brand.ProdNbr", "Q1-K510-E");
    EXPECT_EQ(member("cameras"), R"([{"id":1,"active":false,"rotation":0},)"
                                 R"({"id":2,"active":true,"rotation":0}])");
    EXPECT_EQ(json_array_size(json(member("profiles")).get()), 2U);
    ConfigurationParser<KTW_GuardFactory> parser;
    const DataBoundaries limits = DataBoundaries::ofThisBuild();
    parser.parse(textOf(create()), limits);
    ASSERT_EQ(parser.getStatus(), StatusOk);
    const CameraConfigurationContainer container = parser.createConfiguration();
    EXPECT_EQ(container.getConfiguration(1), nullptr);
    ASSERT_NE(container.getConfiguration(2), nullptr);
    delete container.getConfiguration(2)->getGuard(2);
}

TEST_F(DefaultConfigCreatorTest, SkipsAnUnsupportedSourceForCameraAndForProfile) {
    device.hasSources(3).hasRadarAs(2);
    const std::vector<SyslogCapture::Line> skipped(
        2, {LOG_INFO, "Skipping source 2 because it is not a supported source\n"});
    const JsonAutoPtr params = DefaultConfigCreator(false).createDefaultParams(defaults);
    EXPECT_EQ(log.lines(), skipped);
    EXPECT_EQ(textOf(json_object_get(params.get(), "cameras")),
              R"([{"id":1,"active":true,"rotation":0},{"id":3,"active":false,"rotation":0}])");
    EXPECT_EQ(json_array_size(json_object_get(params.get(), "profiles")), 2U);
}

TEST_F(DefaultConfigCreatorTest, ADeviceWithoutASupportedSourceGetsADocumentThatDoesNotParse) {
    device.hasRadarAs(1);
    EXPECT_EQ(member("cameras"), "[]");
    EXPECT_EQ(member("profiles"), "[]");
    EXPECT_EQ(parseStatus(), StatusMissingParameter);
    EXPECT_TRUE(log.has(LOG_WARNING, "No cameras found\n"));
}

TEST_F(DefaultConfigCreatorTest, AddsAnEmptyPresetListOnAMechanicalPtz) {
    device.isMechanicalPTZ();
    const JsonAutoPtr profile = DefaultConfigCreator(false).createProfile(defaults, 1);
    EXPECT_EQ(textOf(json_object_get(profile.get(), "presets")), "[]");
    EXPECT_EQ(json_object_get(profile.get(), "perspective"), nullptr);
}

TEST_F(DefaultConfigCreatorTest, AddsAnEmptyPerspectiveWhenAskedTo) {
    const JsonAutoPtr profile = DefaultConfigCreator(true).createProfile(defaults, 1);
    EXPECT_EQ(textOf(json_object_get(profile.get(), "perspective")), "[]");
    EXPECT_EQ(json_object_get(profile.get(), "presets"), nullptr);
}

TEST_F(DefaultConfigCreatorTest, NeverProposesAnExcludeArea) {
    EXPECT_EQ(member("profiles").find("excludeArea"), std::string::npos);
}

TEST_F(DefaultConfigCreatorTest, AMissingDefaultIsAnInternalError) {
    const DefaultValues fenceOnly(nullptr, nullptr, nullptr, nullptr, nullptr, new FenceDefaults{},
                                  nullptr);
    try {
        DefaultConfigCreator(false).create(fenceOnly, "1.4");
        FAIL();
    } catch (const StatusException& failure) {
        EXPECT_EQ(failure.status, StatusInternalError);
        EXPECT_EQ(failure.message, "Missing default values for the size percentage filter");
    }
}

TEST_F(DefaultConfigCreatorTest, EveryFailedAllocationIsToldInWords) {
    // More sources than an array has room for at first.
    device.hasSources(9).isMechanicalPTZ();
    std::set<std::string> words;
    for (int n = 1;; ++n) {
        const FailingJsonMemory memory(n);
        try {
            JsonAutoPtr document = DefaultConfigCreator(true).create(defaults, "1.4");
            document.free();
            ASSERT_TRUE(memory.hasNotFailed());
            break;
        } catch (const StatusException& failure) {
            EXPECT_EQ(failure.status, StatusInternalError);
            words.insert(failure.message);
        } catch (const std::runtime_error& failure) {
            words.insert(failure.what());
        }
    }
    for (const char* expected : {"Cannot add a camera to the array",
                                 "Cannot add a profile to the array",
                                 "Cannot add the cameras to the default configuration",
                                 "Cannot add the configuration status to the default configuration",
                                 "Cannot add the filters to the profile",
                                 "Cannot add the parameters to the default configuration",
                                 "Cannot add the perspective array to the profile",
                                 "Cannot add the presets array to the profile",
                                 "Cannot add the profiles to the default configuration",
                                 "Cannot add the triggers to the profile",
                                 "Cannot create a camera",
                                 "Cannot create additional information for a default profile",
                                 "Cannot create the default filters array",
                                 "Cannot create the default perspective array",
                                 "Cannot create the default presets array",
                                 "Cannot create the default profile array",
                                 "Cannot create the default triggers array",
                                 "Cannot create the default values for the includeArea",
                                 "Cannot create the default values for the shortLivedFilter",
                                 "Cannot create the default values for the sizePercentageFilter",
                                 "Cannot create the default values for the swayingFilter",
                                 "Cannot create the header for the default configuration",
                                 "Cannot pack the configuration status",
                                 "Cannot update the profile with addition information"}) {
        EXPECT_TRUE(words.count(expected)) << expected;
    }
    for (const std::string& word : words) {
        EXPECT_EQ(word.find("Cannot "), 0U) << word;
    }
}

}  // namespace
