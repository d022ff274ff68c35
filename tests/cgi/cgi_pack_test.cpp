#include "cgi/cgi_pack.h"

#include <gtest/gtest.h>

#include <functional>

#include "support/failing_json_memory.h"
#include "support/json_support.h"
#include "support/overlay_stage.h"
#include "support/status_matchers.h"
#include "support/syslog_capture.h"
#include "support/test_device.h"

namespace {

class CGI_PackTest : public testing::Test {
protected:
    static void expectInternalError(const std::function<void()>& call, const std::string& message) {
        expectStatus(call, StatusInternalError, message);
    }

    /// Expects each allocation of the packing to fail with the words.
    static void expectWords(const std::function<JsonAutoPtr()>& pack, const std::string& words) {
        for (int n = 1;; ++n) {
            const FailingJsonMemory memory(n);
            JsonAutoPtr packed;
            try {
                packed = pack();
            } catch (const StatusException& failure) {
                EXPECT_EQ(failure.status, StatusInternalError);
                EXPECT_EQ(failure.message, words);
                continue;
            }
            EXPECT_TRUE(memory.hasNotFailed());
            EXPECT_GT(n, 1);
            packed.free();
            return;
        }
    }

    TestDevice device;
    SyslogCapture log;
    const DataBoundaries limits = DataBoundaries::ofThisBuild();
    const DefaultValues defaults = DefaultValues::ofThisBuild();
    const LoiteringBoundaries loiteringLimits{1, 0, {60, 5}, {70, 6}, {80, 7}, {20, 3}};
    const LoiteringDefaults loiteringDefaults{10, true, 15, false, {-0.5F, 0.5F, -0.25F, 0.25F}};
    const FenceBoundaries fenceLimits{1, 0, {10, 2}};
    const FenceDefaults fenceDefaults{-0.5F, 0.0F, 0.5F, 0.0F, "both"};
};

TEST_F(CGI_PackTest, PacksTheSizePercentageFilter) {
    EXPECT_EQ(textOf(CGI_Pack::sizePercentageFilter(limits.sizePercentageFilter,
                                                    defaults.sizePercentageFilter)),
              R"({"type":"sizePercentage","min":[3,3],"max":[100,100],"default":[5,5],)"
              R"("defaultActive":true})");
    EXPECT_EQ(textOf(CGI_Pack::sizePercentageFilter(defaults.sizePercentageFilter)),
              R"({"active":true,"data":[5,5],"type":"sizePercentage"})");
}

TEST_F(CGI_PackTest, PutsWidthBeforeHeight) {
    const SizePercentageFilterBoundaries boundaries{
        .maxWidth = 1, .minWidth = 2, .maxHeight = 3, .minHeight = 4};
    const SizePercentageFilterDefaults values{.width = 5, .height = 6, .active = false};
    EXPECT_EQ(textOf(CGI_Pack::sizePercentageFilter(&boundaries, &values)),
              R"({"type":"sizePercentage","min":[2,4],"max":[1,3],"default":[5,6],)"
              R"("defaultActive":false})");
}

TEST_F(CGI_PackTest, PacksTheShortLivedFilter) {
    EXPECT_EQ(
        textOf(CGI_Pack::shortLivedFilter(limits.shortLivedFilter, defaults.shortLivedFilter)),
        R"({"type":"timeShortLivedLimit","min":1,"max":5,"default":1,"defaultActive":true})");
    EXPECT_EQ(textOf(CGI_Pack::shortLivedFilter(defaults.shortLivedFilter)),
              R"({"active":true,"data":1,"type":"timeShortLivedLimit"})");
}

TEST_F(CGI_PackTest, PacksTheSwayingFilter) {
    EXPECT_EQ(
        textOf(CGI_Pack::swayingFilter(limits.swayingFilter, defaults.swayingFilter)),
        R"({"type":"distanceSwayingObject","min":3,"max":20,"default":5,"defaultActive":true})");
    EXPECT_EQ(textOf(CGI_Pack::swayingFilter(defaults.swayingFilter)),
              R"({"active":true,"data":5,"type":"distanceSwayingObject"})");
}

TEST_F(CGI_PackTest, PacksTheAreas) {
    EXPECT_EQ(textOf(CGI_Pack::excludeArea(limits.excludeArea, defaults.excludeArea)),
              R"({"type":"excludeArea","min":[-1.0,-1.0],"max":[1.0,1.0],"minNbrVertices":3,)"
              R"("maxNbrVertices":20,"minNbrInstances":0,"maxNbrInstances":3,"defaultInstance":)"
              R"([[-0.2,-0.2],[-0.2,0.2],[0.2,0.2],[0.2,-0.2]]})");
    EXPECT_EQ(textOf(CGI_Pack::includeArea(limits.includeArea, defaults.includeArea)),
              R"({"type":"includeArea","min":[-1.0,-1.0],"max":[1.0,1.0],"minNbrVertices":3,)"
              R"("maxNbrVertices":20,"minNbrInstances":1,"maxNbrInstances":1,"defaultInstance":)"
              R"([[-0.97,-0.97],[-0.97,0.97],[0.97,0.97],[0.97,-0.97]]})");
    EXPECT_EQ(textOf(CGI_Pack::includeArea(defaults.includeArea)),
              R"({"type":"includeArea","data":)"
              R"([[-0.97,-0.97],[-0.97,0.97],[0.97,0.97],[0.97,-0.97]]})");
}

TEST_F(CGI_PackTest, PacksTheLoiteringArea) {
    EXPECT_EQ(textOf(CGI_Pack::loiteringArea(&loiteringLimits, &loiteringDefaults)),
              R"({"type":"loiteringArea","min":[-1.0,-1.0],"max":[1.0,1.0],"minNbrVertices":3,)"
              R"("maxNbrVertices":20,"minNbrInstances":0,"maxNbrInstances":1,"defaultInstance":)"
              R"([[-0.5,-0.25],[-0.5,0.25],[0.5,0.25],[0.5,-0.25]],"conditions":[)"
              R"({"type":"individual","min":5,"max":60,"default":10,"defaultActive":true},)"
              R"({"type":"group","min":6,"max":70,"default":15,"defaultActive":false}]})");
    EXPECT_EQ(textOf(CGI_Pack::loiteringArea(&loiteringDefaults)),
              R"({"type":"loiteringArea","data":)"
              R"([[-0.5,-0.25],[-0.5,0.25],[0.5,0.25],[0.5,-0.25]],"conditions":[)"
              R"({"type":"individual","data":10,"active":true},)"
              R"({"type":"group","data":15,"active":false}]})");
}

TEST_F(CGI_PackTest, PacksTheFence) {
    EXPECT_EQ(textOf(CGI_Pack::fence(&fenceLimits, &fenceDefaults)),
              R"({"type":"fence","min":[-1.0,-1.0],"max":[1.0,1.0],"minNbrVertices":2,)"
              R"("maxNbrVertices":10,"minNbrInstances":0,"maxNbrInstances":1,"defaultInstance":)"
              R"([[-0.5,0.0],[0.5,0.0]],"alarmDirection":"both"})");
    EXPECT_EQ(textOf(CGI_Pack::fence(&fenceDefaults)),
              R"({"type":"fence","data":[[-0.5,0.0],[0.5,0.0]],"alarmDirection":"both"})");
}

TEST_F(CGI_PackTest, PacksPresetsAndMotionLevel) {
    EXPECT_EQ(textOf(CGI_Pack::presets(limits.ptz, defaults.ptz)),
              R"({"maxNbrPresetsPerProfile":1,"defaultPreset":-2})");
    EXPECT_EQ(textOf(CGI_Pack::motionLevel(defaults.supportedCapabilities)),
              R"({"isSupported":true})");
    const SupportedCapabilitiesDefaults none{false};
    EXPECT_EQ(textOf(CGI_Pack::motionLevel(&none)), R"({"isSupported":false})");
}

TEST_F(CGI_PackTest, TheLimitOfProfilesFollowsTheDevice) {
    const auto text = [this] { return textOf(CGI_Pack::profiles(limits.profile)); };
    EXPECT_EQ(text(), R"({"minNbrProfilesPerCamera":0,"maxNbrProfilesPerCamera":3,)"
                      R"("minLengthName":1,"maxLengthName":64})");
    device.isMechanicalPTZ();
    EXPECT_EQ(text(), R"({"minNbrProfilesPerCamera":0,"maxNbrProfilesPerCamera":10,)"
                      R"("minLengthName":1,"maxLengthName":64})");
    device.hasSources(2);
    EXPECT_EQ(text(), R"({"minNbrProfilesPerCamera":0,"maxNbrProfilesPerCamera":3,)"
                      R"("minLengthName":1,"maxLengthName":64})");
}

TEST_F(CGI_PackTest, ADeviceWithoutOverlaySaysNoMoreThanThat) {
    EXPECT_EQ(textOf(CGI_Pack::alarmOverlay()), R"({"isSupported":false})");
    EXPECT_EQ(textOf(CGI_Pack::alarmOverlay(false)), R"({"isSupported":false})");
}

TEST_F(CGI_PackTest, ADeviceWithOverlayListsItsSupportedSources) {
    device.hasSources(3).hasRadarAs(2).hasResolutions("1280x720,640x480,640x360", "16:9");
    EXPECT_EQ(textOf(CGI_Pack::alarmOverlay(true)),
              R"({"isSupported":true,"maxNbrActiveCameras":1,"cameras":[)"
              R"({"id":1,"availableResolutions":["1280x720","640x360"]},)"
              R"({"id":3,"availableResolutions":["1280x720","640x360"]}]})");
    EXPECT_EQ(log.lines(),
              (std::vector<SyslogCapture::Line>{
                  {LOG_INFO, "Skipping source 2 because it is not a supported source\n"}}));
}

using CGI_PackOverlayTest = OverlayStage;

TEST_F(CGI_PackOverlayTest, AnOverlayIsSupportedWhileItIsEnabled) {
    EXPECT_EQ(textOf(CGI_Pack::alarmOverlay()), R"({"isSupported":false})");
    AlarmOverlay::enableIfSupported();
    EXPECT_EQ(textOf(CGI_Pack::alarmOverlay()),
              R"({"isSupported":true,"maxNbrActiveCameras":1,"cameras":[)"
              R"({"id":1,"availableResolutions":["64x48","640x480"]}]})");
    AlarmOverlay::disable();
    EXPECT_EQ(textOf(CGI_Pack::alarmOverlay()), R"({"isSupported":false})");
}

TEST_F(CGI_PackTest, TellsWhichBoundariesAreMissing) {
    expectInternalError(
        [&] { CGI_Pack::sizePercentageFilter(nullptr, defaults.sizePercentageFilter); },
        "Missing boundary values for the size percentage filter");
    expectInternalError([&] { CGI_Pack::shortLivedFilter(nullptr, defaults.shortLivedFilter); },
                        "Missing boundary values for the short lived filter");
    expectInternalError([&] { CGI_Pack::swayingFilter(nullptr, defaults.swayingFilter); },
                        "Missing boundary values for the swaying filter");
    expectInternalError([&] { CGI_Pack::excludeArea(nullptr, defaults.excludeArea); },
                        "Missing boundary values for the exclude area");
    expectInternalError([&] { CGI_Pack::includeArea(nullptr, defaults.includeArea); },
                        "Missing boundary values for the include area");
    expectInternalError([&] { CGI_Pack::loiteringArea(nullptr, &loiteringDefaults); },
                        "Missing boundary values for the loitering area");
    expectInternalError([&] { CGI_Pack::fence(nullptr, &fenceDefaults); },
                        "Missing boundary values for the fence");
    expectInternalError([&] { CGI_Pack::presets(nullptr, defaults.ptz); },
                        "Missing boundaries values for the presets");
    expectInternalError([] { CGI_Pack::profiles(nullptr); },
                        "Missing boundary values for the profile");
}

TEST_F(CGI_PackTest, TellsWhichDefaultsAreMissing) {
    const std::string size = "Missing default values for the size percentage filter";
    expectInternalError(
        [&] { CGI_Pack::sizePercentageFilter(limits.sizePercentageFilter, nullptr); }, size);
    expectInternalError([] { CGI_Pack::sizePercentageFilter(nullptr); }, size);
    const std::string shortLived = "Missing default values for the short lived filter";
    expectInternalError([&] { CGI_Pack::shortLivedFilter(limits.shortLivedFilter, nullptr); },
                        shortLived);
    expectInternalError([] { CGI_Pack::shortLivedFilter(nullptr); }, shortLived);
    const std::string swaying = "Missing default values for the swaying filter";
    expectInternalError([&] { CGI_Pack::swayingFilter(limits.swayingFilter, nullptr); }, swaying);
    expectInternalError([] { CGI_Pack::swayingFilter(nullptr); }, swaying);
    expectInternalError([&] { CGI_Pack::excludeArea(limits.excludeArea, nullptr); },
                        "Missing default values for the exclude area");
    const std::string include = "Missing default values for the include area";
    expectInternalError([&] { CGI_Pack::includeArea(limits.includeArea, nullptr); }, include);
    expectInternalError([] { CGI_Pack::includeArea(nullptr); }, include);
    const std::string loitering = "Missing default values for the loitering area";
    expectInternalError([&] { CGI_Pack::loiteringArea(&loiteringLimits, nullptr); }, loitering);
    expectInternalError([] { CGI_Pack::loiteringArea(nullptr); }, loitering);
    const std::string fence = "Missing default values for the fence";
    expectInternalError([&] { CGI_Pack::fence(&fenceLimits, nullptr); }, fence);
    expectInternalError([] { CGI_Pack::fence(nullptr); }, fence);
    expectInternalError([&] { CGI_Pack::presets(limits.ptz, nullptr); },
                        "Missing default values for the presets");
    expectInternalError([] { CGI_Pack::motionLevel(nullptr); },
                        "Missing supported capabilities value.");
}

TEST_F(CGI_PackTest, TellsWhatCouldNotBePacked) {
    expectWords(
        [&] {
            return CGI_Pack::sizePercentageFilter(limits.sizePercentageFilter,
                                                  defaults.sizePercentageFilter);
        },
        "Cannot create the default values for the sizePercentageFilter");
    expectWords([&] { return CGI_Pack::sizePercentageFilter(defaults.sizePercentageFilter); },
                "Cannot create the default values for the sizePercentageFilter");
    expectWords([&] { return CGI_Pack::shortLivedFilter(defaults.shortLivedFilter); },
                "Cannot create the default values for the shortLivedFilter");
    expectWords([&] { return CGI_Pack::swayingFilter(defaults.swayingFilter); },
                "Cannot create the default values for the swayingFilter");
    expectWords([&] { return CGI_Pack::excludeArea(limits.excludeArea, defaults.excludeArea); },
                "Cannot create the default values for the excludeArea");
    expectWords([&] { return CGI_Pack::includeArea(defaults.includeArea); },
                "Cannot create the default values for the includeArea");
    expectWords([&] { return CGI_Pack::loiteringArea(&loiteringLimits, &loiteringDefaults); },
                "Cannot create the default values for the loiteringArea");
    expectWords([&] { return CGI_Pack::loiteringArea(&loiteringDefaults); },
                "Cannot create the default values for the loiteringArea");
    expectWords([&] { return CGI_Pack::fence(&fenceDefaults); },
                "Cannot create the default values for the fence");
    expectWords([&] { return CGI_Pack::presets(limits.ptz, defaults.ptz); },
                "Cannot create the presets for the default profile");
    expectWords([&] { return CGI_Pack::motionLevel(defaults.supportedCapabilities); },
                "Cannot create json data for isSupported for motionLevel");
    expectWords([] { return CGI_Pack::alarmOverlay(false); },
                "Cannot create json data for isSupported for alarmOverlay");
    expectWords([&] { return CGI_Pack::profiles(limits.profile); },
                "Cannot create the default profiles data");
    expectWords([] { return CGI_Pack::object("no object"); }, "no object");
    expectWords([] { return CGI_Pack::array("no array"); }, "no array");
}

TEST_F(CGI_PackTest, TellsWhichStepOfTheOverlayFailed) {
    device.hasResolutions("1280x720", "16:9");
    CGI_Pack::alarmOverlay(true).free();  // so that the device has been asked before
    std::vector<std::string> words;
    for (int n = 1;; ++n) {
        const FailingJsonMemory memory(n);
        JsonAutoPtr overlay;
        try {
            overlay = CGI_Pack::alarmOverlay(true);
        } catch (const StatusException& failure) {
            EXPECT_EQ(failure.status, StatusInternalError);
            if (words.empty() || words.back() != failure.message) {
                words.push_back(failure.message);
            }
            continue;
        }
        EXPECT_TRUE(memory.hasNotFailed());
        overlay.free();
        break;
    }
    EXPECT_EQ(words,
              (std::vector<std::string>{
                  "Cannot create json data for isSupported for alarmOverlay",
                  "Cannot create json data for maxNbrActiveCameras for alarmOverlay",
                  "Cannot create the default cameras array for alarmOverlay",
                  "Cannot add the default values for a camera for alarmOverlay",
                  "Cannot create the resolutions array for a camera for alarmOverlay",
                  "Cannot add a resolution to the camera resolutions array for alarm overlay",
                  "Cannot add available resolutions for a camera for alarmOverlay",
                  "Cannot add cameras array for alarmOverlay"}));
}

TEST_F(CGI_PackTest, AddsValuesWithAReferenceOfTheirOwn) {
    JsonAutoPtr object = CGI_Pack::object("");
    JsonAutoPtr array = CGI_Pack::array("");
    JsonAutoPtr value = json(R"("x")");
    CGI_Pack::appendToArray(array, value, "");
    CGI_Pack::insertInObject(object, array, "list", "");
    EXPECT_EQ(value.get()->refcount, 2U);
    EXPECT_EQ(array.get()->refcount, 2U);
    EXPECT_EQ(textOf(object), R"({"list":["x"]})");
}

TEST_F(CGI_PackTest, TellsWhenAValueCannotBeAdded) {
    JsonAutoPtr object = CGI_Pack::object("");
    JsonAutoPtr array = CGI_Pack::array("");
    JsonAutoPtr nothing;
    expectInternalError([&] { CGI_Pack::insertInObject(object, nothing, "key", "not inserted"); },
                        "not inserted");
    expectInternalError([&] { CGI_Pack::insertInObject(array, object, "key", "no object"); },
                        "no object");
    expectInternalError([&] { CGI_Pack::appendToArray(array, nothing, "not appended"); },
                        "not appended");
    expectInternalError([&] { CGI_Pack::appendToArray(object, array, "no array"); }, "no array");
}

}  // namespace
