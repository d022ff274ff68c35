#include "config/configuration_parser.h"

#include <gtest/gtest.h>

#include <memory>

#include "config/data_boundaries.h"
#include "config/default_config_creator.h"
#include "config/default_values.h"
#include "config/ktw_guard_factory.h"
#include "geometry/polygon.h"
#include "guard/guard.h"
#include "scene/camera_configuration_container.h"
#include "support/json_support.h"
#include "support/syslog_capture.h"
#include "support/test_device.h"
#include "support/test_profile.h"

namespace {

using TestProfile::array;
using TestProfile::camera;
using TestProfile::document;
using TestProfile::profile;

/// The guards of a configuration, ended with it.
class Guards {
public:
    explicit Guards(const CameraConfigurationContainer& container) {
        for (const CameraConfiguration& configuration : container.getConfigurations()) {
            for (Guard* guard : configuration.getGuards()) {
                guards.emplace_back(guard);
            }
        }
    }
    std::size_t size() const { return guards.size(); }

private:
    std::vector<std::unique_ptr<Guard>> guards;
};

class ConfigurationParserTest : public testing::Test {
protected:
    void parse(const std::string& text) { parser.parse(text, limits); }

    void expectFailure(const std::string& text, StatusCode_e status, const std::string& message) {
        log.clear();
        parse(text);
        EXPECT_EQ(parser.getStatus(), status) << message;
        const std::vector<SyslogCapture::Line> lines = log.lines();
        ASSERT_GE(lines.size(), 2U) << message;
        EXPECT_EQ(lines[lines.size() - 2], (SyslogCapture::Line{LOG_WARNING, message + "\n"}));
        EXPECT_EQ(lines.back(), (SyslogCapture::Line{LOG_WARNING, text + "\n"}));
    }

    static std::string profileOf(int uid, int cameraId,
                                 std::vector<std::pair<std::string, std::string>> changes = {}) {
        changes.emplace_back("uid", std::to_string(uid));
        changes.emplace_back("camera", std::to_string(cameraId));
        return profile(changes);
    }

    static std::vector<std::string> profilesOf(int count, int cameraId) {
        std::vector<std::string> list;
        for (int uid = 1; uid <= count; ++uid) {
            list.push_back(profileOf(uid, cameraId));
        }
        return list;
    }

    TestDevice device;
    SyslogCapture log;
    const DataBoundaries limits = DataBoundaries::ofThisBuild();
    ConfigurationParser<KTW_GuardFactory> parser;
};

TEST_F(ConfigurationParserTest, IsMalformedBeforeTheFirstParse) {
    EXPECT_EQ(parser.getStatus(), StatusMalformedJson);
}

TEST_F(ConfigurationParserTest, AcceptsAValidDocument) {
    parse(document({camera(1)}, {profile()}));
    EXPECT_EQ(parser.getStatus(), StatusOk);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(ConfigurationParserTest, ReadsNothingButTheParams) {
    parse(R"({"params":{"cameras":[)" + camera(1) + R"(],"profiles":[],"x":1}})");
    EXPECT_EQ(parser.getStatus(), StatusOk);
}

TEST_F(ConfigurationParserTest, RefusesDocumentsInOrder) {
    expectFailure("{", StatusMalformedJson, "Unable to decode Json: ");
    expectFailure("", StatusMalformedJson, "Unable to decode Json: ");
    expectFailure("{}", StatusMissingParameter, "Could not get 'params': ");
    expectFailure("[]", StatusMissingParameter, "Could not get 'params': ");
    expectFailure(R"({"params":{}})", StatusMissingParameter, "Could not get 'cameras': ");
    expectFailure(R"({"params":{"cameras":[]}})", StatusMissingParameter, "No cameras found");
    expectFailure(R"({"params":{"cameras":[)" + camera(1) + "]}}", StatusMissingParameter,
                  "Could not get 'profiles': ");
    expectFailure(R"({"params":{"cameras":[)" + camera(1) + R"(],"profiles":{}}})",
                  StatusMissingParameter, "Could not get 'profiles': ");
}

TEST_F(ConfigurationParserTest, RefusesAProfileWithoutACamera) {
    expectFailure(document({camera(1)}, {"{}"}), StatusMissingParameter,
                  "Missing camera id parameter");
    expectFailure(document({camera(1)}, {"null"}), StatusMissingParameter,
                  "Missing camera id parameter");
    expectFailure(document({camera(1)}, {profileOf(1, 2)}), StatusInvalidParameter,
                  "Found invalid rotation for a camera");
}

TEST_F(ConfigurationParserTest, EveryBadProfileHasItsSayAndTheFirstDecidesTheStatus) {
    const std::string text =
        document({camera(1)}, {profileOf(1, 1), profileOf(2, 1, {{"filters", ""}}),
                               profileOf(3, 1, {{"perspective", "[]"}})});
    parse(text);
    EXPECT_EQ(parser.getStatus(), StatusMissingParameter);
    EXPECT_EQ(
        log.lines(),
        (std::vector<SyslogCapture::Line>{
            {LOG_WARNING, "Could not find the 'filters' tag\n"},
            {LOG_WARNING, "The guard contains 'perspective' tag, the json data is incoherent\n"},
            {LOG_WARNING, "A guard factory is not ok\n"},
            {LOG_WARNING, text + "\n"}}));
}

TEST_F(ConfigurationParserTest, RefusesAUidTwice) {
    device.hasSources(2);
    expectFailure(document({camera(1), camera(2)}, {profileOf(7, 1), profileOf(7, 2)}),
                  StatusConflict, "Found profiles with the same uid");
}

TEST_F(ConfigurationParserTest, AFixedCameraHasAtMostThreeProfiles) {
    parse(document({camera(1)}, profilesOf(3, 1)));
    EXPECT_EQ(parser.getStatus(), StatusOk);
    expectFailure(document({camera(1)}, profilesOf(4, 1)), StatusTooManyRules,
                  "A camera has too many profiles attached to it");
}

TEST_F(ConfigurationParserTest, AMechanicalPtzHasAtMostTenProfiles) {
    device.isMechanicalPTZ();
    parse(document({camera(1)}, profilesOf(10, 1)));
    EXPECT_EQ(parser.getStatus(), StatusOk);
    expectFailure(document({camera(1)}, profilesOf(11, 1)), StatusTooManyRules,
                  "A camera has too many profiles attached to it");
}

TEST_F(ConfigurationParserTest, EachOfSeveralCamerasHasAtMostThreeProfiles) {
    device.hasSources(2).isMechanicalPTZ();
    std::vector<std::string> profiles = profilesOf(3, 1);
    for (int uid = 4; uid <= 6; ++uid) {
        profiles.push_back(profileOf(uid, 2));
    }
    parse(document({camera(1), camera(2)}, profiles));
    EXPECT_EQ(parser.getStatus(), StatusOk);
    profiles.push_back(profileOf(7, 2));
    expectFailure(document({camera(1), camera(2)}, profiles), StatusTooManyRules,
                  "A camera has too many profiles attached to it");
}

TEST_F(ConfigurationParserTest, AnOverlayNeedsItsCamerasResolution) {
    const std::string enabled = profile({{"alarmOverlayEnabled", "true"}});
    expectFailure(document({camera(1)}, {enabled}), StatusConflict,
                  "Invalid alarm overlay parameters");
    // One that the device does not list is enough.
    parse(document({with(camera(1), {{"overlayResolution", "\"640x360\""}})}, {enabled}));
    EXPECT_EQ(parser.getStatus(), StatusOk);
}

TEST_F(ConfigurationParserTest, OnlyOneCameraMayHaveOverlays) {
    device.hasSources(2);
    const std::string first = with(camera(1), {{"overlayResolution", "\"640x360\""}});
    const std::string second = with(camera(2), {{"overlayResolution", "\"640x360\""}});
    const std::vector<std::pair<std::string, std::string>> enabled = {
        {"alarmOverlayEnabled", "true"}};
    parse(document({first, second}, {profileOf(1, 2, enabled), profileOf(2, 2, enabled)}));
    EXPECT_EQ(parser.getStatus(), StatusOk);
    expectFailure(document({first, second}, {profileOf(1, 1, enabled), profileOf(2, 2, enabled)}),
                  StatusConflict, "Invalid alarm overlay parameters");
}

TEST_F(ConfigurationParserTest, ChecksTheProfilesTogetherInOrder) {
    const std::vector<std::pair<std::string, std::string>> enabled = {
        {"alarmOverlayEnabled", "true"}};
    const auto fourProfiles = [&](int lastUid, const std::string& filters) {
        auto changes = enabled;
        changes.emplace_back("filters", filters);
        return document({camera(1)}, {profileOf(1, 1, enabled), profileOf(2, 1, enabled),
                                      profileOf(3, 1, enabled), profileOf(lastUid, 1, changes)});
    };
    expectFailure(fourProfiles(3, "7"), StatusMissingParameter, "A guard factory is not ok");
    expectFailure(fourProfiles(3, "[]"), StatusConflict, "Found profiles with the same uid");
    expectFailure(fourProfiles(4, "[]"), StatusTooManyRules,
                  "A camera has too many profiles attached to it");
}

TEST_F(ConfigurationParserTest, StartsCleanEachTime) {
    parse(document({camera(1)}, {profileOf(1, 1), profileOf(1, 1)}));
    EXPECT_EQ(parser.getStatus(), StatusConflict);
    parse(document({camera(1)}, {profileOf(1, 1)}));
    EXPECT_EQ(parser.getStatus(), StatusOk);
    EXPECT_EQ(Guards(parser.createConfiguration()).size(), 1U);
    parse("{");
    EXPECT_EQ(parser.getStatus(), StatusMalformedJson);
}

TEST_F(ConfigurationParserTest, WithoutProfilesNothingIsAnalysed) {
    parse(document({camera(1)}, {}));
    EXPECT_EQ(parser.getStatus(), StatusOk);
    EXPECT_TRUE(parser.createConfiguration().getConfigurations().empty());
}

TEST_F(ConfigurationParserTest, ACameraWithoutAProfileIsInactive) {
    device.hasSources(2);
    parse(document({camera(1), camera(2, true, 90)}, {profileOf(5, 2)}));
    ASSERT_EQ(parser.getStatus(), StatusOk);
    const CameraConfigurationContainer container = parser.createConfiguration();
    const Guards guards(container);
    ASSERT_EQ(container.getConfigurations().size(), 1U);
    EXPECT_EQ(container.getConfigurations()[0].getId(), 2);
    EXPECT_EQ(container.getConfigurations()[0].getRotation(), 90);
    EXPECT_NE(container.getConfigurations()[0].getGuard(5), nullptr);
}

TEST_F(ConfigurationParserTest, AProfileOfAnInactiveCameraIsCheckedAndRunsNowhere) {
    expectFailure(document({camera(1, false)}, {profile({{"filters", ""}})}),
                  StatusMissingParameter, "A guard factory is not ok");
    parse(document({camera(1, false)}, {profile()}));
    ASSERT_EQ(parser.getStatus(), StatusOk);
    EXPECT_TRUE(parser.createConfiguration().getConfigurations().empty());
    EXPECT_TRUE(ZQEventDouble::declarations().empty());
}

TEST_F(ConfigurationParserTest, GuardsFollowTheDocumentsOrder) {
    device.hasSources(2);
    parse(document({camera(2), camera(1)}, {profileOf(9, 1), profileOf(3, 2), profileOf(1, 1)}));
    const CameraConfigurationContainer container = parser.createConfiguration();
    const Guards guards(container);
    ASSERT_EQ(container.getConfigurations().size(), 2U);
    EXPECT_EQ(container.getConfigurations()[0].getId(), 2);
    const std::vector<Guard*>& ofCamera1 = container.getConfigurations()[1].getGuards();
    ASSERT_EQ(ofCamera1.size(), 2U);
    EXPECT_EQ(ofCamera1[0]->getProfileId(), 9);
    EXPECT_EQ(ofCamera1[1]->getProfileId(), 1);
}

TEST_F(ConfigurationParserTest, TellsTheOverlayItsProfilesAndEveryCamera) {
    device.hasSources(3).hasResolutions("1280x720", "16:9");
    const std::vector<std::pair<std::string, std::string>> enabled = {
        {"alarmOverlayEnabled", "true"}};
    parse(document(
        {camera(1, false, 90), with(camera(2, true, 180), {{"overlayResolution", "\"1280x720\""}}),
         with(camera(3), {{"overlayResolution", "\"640x360\""}})},
        {profileOf(8, 2, enabled), profileOf(6, 2), profileOf(7, 2, enabled)}));
    ASSERT_EQ(parser.getStatus(), StatusOk);
    const CameraConfigurationContainer container = parser.createConfiguration();
    const Guards guards(container);
    const AlarmOverlayConfigurationContainer& overlay = container.getAlarmOverlayConfiguration();
    EXPECT_EQ(overlay.profileIds, (std::vector<int>{8, 7}));
    EXPECT_EQ(overlay.streamSettings,
              (std::map<int, StreamSettings>{{1, StreamSettings(-1, -1, 90, false)},
                                             {2, StreamSettings(1280, 720, 180, false)},
                                             {3, StreamSettings(0, 0, 0, false)}}));
}

TEST_F(ConfigurationParserTest, ParsingDeclaresNothingOnTheBus) {
    parse(document({camera(1)}, {profile()}));
    EXPECT_TRUE(ZQEventDouble::declarations().empty());
}

TEST_F(ConfigurationParserTest, TheDefaultDocumentBecomesAGuardWithItsEvents) {
    const DefaultValues defaults = DefaultValues::ofThisBuild();
    parse(textOf(DefaultConfigCreator(false).create(defaults, "1.4")));
    ASSERT_EQ(parser.getStatus(), StatusOk);
    {
        const CameraConfigurationContainer container = parser.createConfiguration();
        const Guards guards(container);
        ASSERT_EQ(guards.size(), 1U);
        const Guard* guard = container.getConfiguration(1)->getGuard(1);
        ASSERT_NE(guard, nullptr);
        EXPECT_EQ(guard->getName(), "Profile 1");
        std::vector<std::string> topics;
        for (const ZQEventDouble::Declaration& declaration : ZQEventDouble::declared()) {
            topics.push_back(ZQEventDouble::describe(declaration.keys));
        }
        const auto has = [&topics](const std::string& name) {
            return std::any_of(topics.begin(), topics.end(), [&name](const std::string& topic) {
                return topic.find(name) != std::string::npos;
            });
        };
        EXPECT_EQ(topics.size(), 5U) << testing::PrintToString(topics);
        EXPECT_TRUE(has("Camera1Profile1"));
        EXPECT_TRUE(has("Camera1ProfileANY"));
        EXPECT_TRUE(has("ktw3_video_1"));
        EXPECT_TRUE(has("MotionAlarm"));
        EXPECT_TRUE(has("MotionRegionDetector"));
    }
    EXPECT_TRUE(ZQEventDouble::misuses().empty());
}

TEST_F(ConfigurationParserTest, APointKeepsItsFullValueInTheGuards) {
    // 505.504 scene units. The stored document has four digits of it, 505.446 units; the guards
    // have what was asked for.
    const std::string requested =
        profile({{"triggers", array({TestProfile::includeArea("[[0.123414,0],[1,0],[1,1]]")})}});
    const auto firstPoint = [this](const std::string& text) {
        return KTW_GuardFactory(*json(text).get(), 0, limits).includeArea->points.at(0);
    };
    EXPECT_EQ(firstPoint(requested), (Point{506, 0}));
    EXPECT_EQ(firstPoint(textOf(json(requested))), (Point{505, 0}));
}

}  // namespace
