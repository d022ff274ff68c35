#include "config/ktw_guard_factory.h"

#include <gtest/gtest.h>

#include <memory>

#include "config/data_boundaries.h"
#include "filters/exclusion_filter.h"
#include "geometry/polygon.h"
#include "guard/area_guard.h"
#include "support/json_support.h"
#include "support/status_matchers.h"
#include "support/syslog_capture.h"
#include "support/test_device.h"
#include "support/test_profile.h"
#include "tracking/parsed_scene.h"
#include "tracking/tracking_object.h"

namespace {

using TestProfile::array;
using TestProfile::excludeArea;
using TestProfile::filter;
using TestProfile::profile;

class KTW_GuardFactoryTest : public testing::Test {
protected:
    using Changes = std::vector<std::pair<std::string, std::string>>;

    std::unique_ptr<KTW_GuardFactory> make(const Changes& changes = {}) {
        return std::make_unique<KTW_GuardFactory>(*json(profile(changes)).get(), 0, limits);
    }

    void expectFailure(const Changes& changes, StatusCode_e status, const std::string& message) {
        log.clear();
        EXPECT_EQ(make(changes)->status, status) << message;
        EXPECT_EQ(log.lines(), (std::vector<SyslogCapture::Line>{{LOG_WARNING, message + "\n"}}));
    }

    TestDevice device;
    SyslogCapture log;
    const DataBoundaries limits = DataBoundaries::ofThisBuild();
};

TEST_F(KTW_GuardFactoryTest, ReadsTheProfileInItsConstructor) {
    const auto factory = make({{"uid", "4"},
                               {"name", "\" Gate \""},
                               {"xinternalEventDuration", "250000"},
                               {"filters", array({filter("sizePercentage", "[5,5]"), excludeArea(),
                                                  filter("timeShortLivedLimit", "1"),
                                                  filter("sizePercentage", "[6,6]", false),
                                                  filter("distanceSwayingObject", "5")})},
                               {"alarmOverlayEnabled", "true"},
                               {"unknown", "[1]"}});
    EXPECT_EQ(factory->status, StatusOk);
    EXPECT_EQ(factory->uid, 4);
    EXPECT_EQ(factory->camera, 1);
    EXPECT_EQ(factory->name, "Gate");
    EXPECT_EQ(factory->eventDuration, 250000);
    EXPECT_EQ(factory->exclusionFilters.size(), 4U);
    EXPECT_EQ(factory->excludeAreas.size(), 1U);
    EXPECT_FALSE(factory->sizePercentActive);
    EXPECT_TRUE(factory->alarmOverlayEnabled);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(KTW_GuardFactoryTest, KeepsTheRotationOfItsCamera) {
    EXPECT_EQ(KTW_GuardFactory(*json(profile()).get(), 270, limits).cameraRotation, 270);
}

TEST_F(KTW_GuardFactoryTest, TellsTheFirstFailureInTheOrderOfTheSteps) {
    Changes changes = {{"uid", ""},      {"perspective", "[]"}, {"filters", "7"},
                       {"triggers", ""}, {"presets", "[]"},     {"alarmOverlayEnabled", "7"}};
    expectFailure(changes, StatusMissingParameter, "Could not unpack data for the guard");
    changes.erase(changes.begin());
    expectFailure(changes, StatusConflict,
                  "The guard contains 'perspective' tag, the json data is incoherent");
    changes.erase(changes.begin());
    expectFailure(changes, StatusMissingParameter, "Could not find the 'filters' tag");
    changes.erase(changes.begin());
    expectFailure(changes, StatusMissingParameter, "Could not find the 'triggers' tag");
    changes.erase(changes.begin());
    expectFailure(changes, StatusConflict,
                  "This device is a non-ptz device and the configuration should not contain any "
                  "presets");
    changes.erase(changes.begin());
    expectFailure(changes, StatusMissingParameter, "Could not parse the alarmOverlayEnabled field");
}

TEST_F(KTW_GuardFactoryTest, APerspectiveThatIsNotAnArrayPassesUnnoticed) {
    EXPECT_EQ(make({{"perspective", "7"}})->status, StatusOk);
    expectFailure({{"perspective", "[{}]"}}, StatusConflict,
                  "The guard contains 'perspective' tag, the json data is incoherent");
}

TEST_F(KTW_GuardFactoryTest, RefusesFiltersThatThisBuildDoesNotHave) {
    expectFailure({{"filters", array({filter("sizePerspective", "[1,1]")})}},
                  StatusInvalidParameter, "Unknown exclusion filter");
    expectFailure({{"filters", array({filter("colour", "1")})}}, StatusInvalidParameter,
                  "Unknown exclusion filter");
    for (const char* filters : {"[{}]", "[null]", R"([{"type":7}])"}) {
        expectFailure({{"filters", filters}}, StatusMissingParameter, "Failed to parse key: type");
    }
}

TEST_F(KTW_GuardFactoryTest, AFourthExcludeAreaIsInvalidWhileASecondIncludeAreaIsAConflict) {
    const std::string area = excludeArea();
    EXPECT_EQ(make({{"filters", array({area, area, area})}})->status, StatusOk);
    expectFailure({{"filters", array({area, area, area, area})}}, StatusInvalidParameter,
                  "The configuration contains too many exclude areas");
    const std::string include = TestProfile::includeArea();
    expectFailure({{"triggers", array({include, include})}}, StatusConflict,
                  "The configuration contains too many include area triggers");
}

TEST_F(KTW_GuardFactoryTest, WithoutAnIncludeAreaAProfileIsIncoherent) {
    const auto factory = make();
    delete factory->includeArea;
    factory->includeArea = nullptr;
    expectStatus([&] { factory->validateConfiguration(); }, StatusConflict,
                 "The guard does not contain an include area, the json data is incoherent");
    EXPECT_EQ(factory->createGuard(), nullptr);
    // The shared check comes first.
    factory->sizePerspectiveActive = true;
    expectStatus([&] { factory->validateConfiguration(); }, StatusConflict,
                 "A valid perspective is required too use the size perspective filter");
}

TEST_F(KTW_GuardFactoryTest, BuildsTheGuardOfItsProfile) {
    const auto factory = make({{"uid", "4"}, {"name", "\" Gate \""}});
    const std::unique_ptr<Guard> guard(factory->createGuard());
    ASSERT_NE(dynamic_cast<AreaGuard*>(guard.get()), nullptr);
    EXPECT_EQ(guard->getName(), "Gate");
    EXPECT_EQ(guard->getProfileId(), 4);
    EXPECT_EQ(guard->getCameraId(), 1);
}

TEST_F(KTW_GuardFactoryTest, TheGuardOutlivesItsFactory) {
    auto factory = make({{"filters", array({filter("sizePercentage", "[5,5]"), excludeArea()})}});
    const std::unique_ptr<Guard> guard(factory->createGuard());
    factory.reset();
    EXPECT_EQ(guard->getName(), "Door");
}

TEST_F(KTW_GuardFactoryTest, TheFirstPresetIsTheGuards) {
    device.isMechanicalPTZ();
    const std::unique_ptr<Guard> guard(make({{"presets", "[4]"}})->createGuard());
    EXPECT_FALSE(guard->shouldDataBeProcessed(10));
    guard->handleArrivingAtPreset(4, 5);
    EXPECT_TRUE(guard->shouldDataBeProcessed(10));
    const std::unique_ptr<Guard> anywhere(make()->createGuard());
    EXPECT_TRUE(anywhere->shouldDataBeProcessed(10));
}

/// What the guard that a profile becomes says of objects.
class GuardOfAProfile : public KTW_GuardFactoryTest {
protected:
    void build(const Changes& changes = {}) {
        guard.reset(dynamic_cast<AreaGuard*>(make(changes)->createGuard()));
        ASSERT_NE(guard, nullptr);
    }

    /// An object of 200 by 200 scene units that has been larger and is an hour old.
    static std::unique_ptr<TrackingObject> at(short x, short y) {
        auto object =
            std::make_unique<TrackingObject>(7, new Polygon(Point{x, y}, short{200}, short{200}));
        object->maxWidth = 1000;
        object->maxHeight = 1000;
        object->lastSeen = 3600 * kSecond;
        return object;
    }

    AlarmDataStatus_e judge(TrackingObject& object, long time = kSecond) {
        ParsedScene scene(time, false);
        scene.insertActiveObject(&object);
        return std::unique_ptr<AlarmData>(guard->checkObjects(scene))->objects.at(0).second;
    }
    AlarmDataStatus_e judgeAt(short x, short y) { return judge(*at(x, y)); }

    void seeNothing(long time) {
        ParsedScene scene(time, false);
        const std::unique_ptr<AlarmData> verdict(guard->checkObjects(scene));
    }

    static constexpr long kSecond = 1000000;

    std::unique_ptr<AreaGuard> guard;
};

TEST_F(GuardOfAProfile, WatchesTheIncludeArea) {
    build();
    EXPECT_EQ(judgeAt(0, 0), AlarmDataStatusAlarm);
    EXPECT_EQ(judgeAt(3000, 0), AlarmDataStatusNotOfInterest);
}

TEST_F(GuardOfAProfile, LeavesOutEachExcludeArea) {
    build({{"filters", array({excludeArea("[[-0.5,-0.5],[-0.5,0],[0,0],[0,-0.5]]"),
                              excludeArea("[[0,0],[0,0.5],[0.5,0.5],[0.5,0]]")})}});
    EXPECT_EQ(judgeAt(-1000, -1000), AlarmDataStatusNotOfInterest);
    EXPECT_EQ(judgeAt(1000, 1000), AlarmDataStatusNotOfInterest);
    EXPECT_EQ(judgeAt(-1000, 1000), AlarmDataStatusAlarm);
}

TEST_F(GuardOfAProfile, AsksEachFilter) {
    build({{"filters",
            array({filter("sizePercentage", "[5,5]"), filter("timeShortLivedLimit", "2")})}});
    const auto small = at(0, 0);
    small->maxWidth = 400;
    small->maxHeight = 400;
    EXPECT_EQ(judge(*small), AlarmDataStatusFiltered);
    const auto young = at(0, 0);
    young->lastSeen = young->firstSeen + 2 * kSecond - 1;
    EXPECT_EQ(judge(*young), AlarmDataStatusFiltered);
    EXPECT_EQ(judgeAt(0, 0), AlarmDataStatusAlarm);
}

TEST_F(GuardOfAProfile, HoldsItsEventAsLongAsTheProfileSays) {
    build({{"xinternalEventDuration", "250000"}});
    judge(*at(0, 0), kSecond);
    seeNothing(kSecond + 250000);
    EXPECT_TRUE(guard->isStateEventOngoing());
    seeNothing(kSecond + 250001);
    EXPECT_FALSE(guard->isStateEventOngoing());
}

TEST_F(GuardOfAProfile, HoldsItsEventForThreeSecondsWhenTheProfileSaysNothing) {
    build();
    judge(*at(0, 0), kSecond);
    seeNothing(4 * kSecond);
    EXPECT_TRUE(guard->isStateEventOngoing());
    seeNothing(4 * kSecond + 1);
    EXPECT_FALSE(guard->isStateEventOngoing());
}

TEST_F(GuardOfAProfile, NamesItsEventByLabelAndProfile) {
    build({{"uid", "4"}, {"name", "\" Gate \""}});
    std::string topics;
    for (const ZQEventDouble::Declaration& declaration : ZQEventDouble::declared()) {
        topics += ZQEventDouble::describe(declaration.keys) + "\n";
    }
    EXPECT_NE(topics.find("KTW 4: Gate"), std::string::npos) << topics;
    EXPECT_NE(topics.find("Camera1Profile4"), std::string::npos) << topics;
}

}  // namespace
