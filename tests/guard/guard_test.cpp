#include "guard/guard.h"

#include <gmock/gmock.h>

#include "guard/guard_fixture.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const std::string transform = "<g transform=\"matrix(1 0 0 -1 0 0)\" >";
const std::string emptyPicture = "<svg><desc></desc></svg>";
const std::string includeArea =
    "<polygon class=\"includeArea\" points=\" -0.244,-0.244 -0.244,0.244 0.244,0.244 "
    "0.244,-0.244\" "
    "style=\"fill:#FF0000;fill-opacity:0.200000;stroke:#FF0000;stroke-width:0.005000;\"  />\n";

std::string box(const std::string& colour) {
    return "<polygon class=\"\" points=\" -0.024,-0.024 0.024,-0.024 0.024,0.024 -0.024,0.024\" "
           "style=\"fill:" +
           colour + ";fill-opacity:0.200000;stroke:" + colour + ";stroke-width:0.005000;\"  />\n";
}

class GuardTest : public GuardFixture {
protected:
    GuardTest() { makeGuard(); }

    void watch() {
        ASSERT_TRUE(guard->enableVisualConfirmation(transform));
        device.takeFrames();
    }
    long soon() { return WatchedDevice::now() + 1; }
};

class MechanicalPTZ_GuardTest : public GuardFixture {
protected:
    MechanicalPTZ_GuardTest() : GuardFixture(WatchedDevice::mechanicalPTZ) {}

    bool accepts(long time) { return check(time) != nullptr; }
};

}  // namespace

// Construction and destruction

TEST_F(GuardTest, DeclaresItsEventWhenItIsMade) {
    const AreaGuard other(Polygon(0, 1, 0, 1), "Gate", 8, 2, hold, "KTW 4", events, -2);
    EXPECT_THAT(events.take(),
                ElementsAre("register camera 2 Gate Camera2Profile8 \"KTW 4: Gate\""));
    EXPECT_EQ(other.getName(), "Gate");
    EXPECT_EQ(other.getProfileId(), 8);
    EXPECT_EQ(other.getCameraId(), 2);
}

TEST_F(GuardTest, EndsARunningEventAndUnregistersWhenItIsDestroyed) {
    check(1_s, {&track(1)});
    guard.reset();
    EXPECT_THAT(events.take(),
                ElementsAre("start Camera1Profile3 1000000", "end Camera1Profile3 now",
                            "unregister Camera1Profile3"));
}

TEST_F(GuardTest, OnlyUnregistersWhenItIsDestroyedWithoutAnEvent) {
    guard.reset();
    EXPECT_THAT(events.take(), ElementsAre("unregister Camera1Profile3"));
}

TEST_F(GuardTest, DeletesItsFilters) {
    guard.reset();
    EXPECT_TRUE(gate.isDeleted);
}

TEST_F(GuardTest, SendsEmptyDataWhenItIsDestroyedWhileWatched) {
    watch();
    guard.reset();
    EXPECT_THAT(device.takeFrames(), ElementsAre(""));
    EXPECT_TRUE(device.isUndeclaredInTime("xinternal_data"));
}

TEST_F(GuardTest, EndsItsEventBeforeItStopsVisualConfirmation) {
    struct OrderRecorder : StateEventRecorder {
        explicit OrderRecorder(WatchedDevice& shared) : device(shared) {}
        void unregisterEvent(const StateEventProducerHandle&) override {
            framesAtUnregistering = device.takeFrames().size();
        }
        WatchedDevice& device;
        std::size_t framesAtUnregistering = 99;
    } recorder(device);
    auto watched =
        std::make_unique<AreaGuard>(Polygon(0, 1, 0, 1), "Gate", 8, 2, hold, "KTW 4", recorder, -2);
    watched->enableVisualConfirmation(transform);
    device.takeFrames();
    watched.reset();
    EXPECT_EQ(recorder.framesAtUnregistering, 0U);
    EXPECT_THAT(device.takeFrames(), ElementsAre(""));
}

// Filters

TEST_F(GuardTest, AsksTheLowConfidenceFilterFirst) {
    TrackingObject& object = track(1);
    object.confident = false;
    EXPECT_FALSE(guard->canObjectTriggerAlarm(object));
    EXPECT_EQ(gate.questions, 0);
    object.confident = true;
    EXPECT_TRUE(guard->canObjectTriggerAlarm(object));
    EXPECT_EQ(gate.questions, 1);
}

TEST_F(GuardTest, IgnoresANullFilter) {
    guard->addExclusionFilter(nullptr);
    EXPECT_TRUE(guard->canObjectTriggerAlarm(track(1)));
}

TEST_F(GuardTest, StopsAtTheFirstFilterThatRefuses) {
    guard->addExclusionFilter(new GateFilter(secondGate));
    gate.isOpen = false;
    EXPECT_FALSE(guard->canObjectTriggerAlarm(track(1)));
    EXPECT_EQ(secondGate.questions, 0);
}

TEST_F(GuardTest, MakesStatusesByTheirTable) {
    EXPECT_EQ(Guard::createAlarmStatus(true, true), AlarmDataStatusAlarm);
    EXPECT_EQ(Guard::createAlarmStatus(true, false), AlarmDataStatusAlarm);
    EXPECT_EQ(Guard::createAlarmStatus(false, true), AlarmDataStatusNotOfInterest);
    EXPECT_EQ(Guard::createAlarmStatus(false, false), AlarmDataStatusFiltered);
}

// The event

TEST_F(GuardTest, StartsItsEventWithTheFirstAlarmAndEndsItWithTheFirstQuietSceneAfterTheHold) {
    TrackingObject& object = track(1);
    check(10_s, {&object});
    check(11_s, {&object});
    check(11_s + hold);
    EXPECT_THAT(events.take(), ElementsAre("start Camera1Profile3 10000000"));
    check(11_s + hold + 1);
    EXPECT_THAT(events.take(), ElementsAre("end Camera1Profile3 14000001"));
    check(20_s);
    EXPECT_THAT(events.take(), IsEmpty());
}

TEST_F(GuardTest, HasNoTimerThatEndsAnEvent) {
    check(10_s, {&track(1)});
    events.take();
    check(1000_s);
    EXPECT_THAT(events.take(), ElementsAre("end Camera1Profile3 1000000000"));
}

// Visual confirmation

TEST_F(GuardTest, SendsNoFramesUntilItIsWatched) {
    check(soon(), {&track(1)});
    EXPECT_THAT(device.takeFrames(), IsEmpty());
    EXPECT_FALSE(guard->isVisualConfirmationAllowedToSend());
}

TEST_F(GuardTest, DeclaresTheFramesEventWhileItIsWatched) {
    watch();
    EXPECT_TRUE(device.isDeclared("xinternal_data"));
    EXPECT_TRUE(guard->isVisualConfirmationAllowedToSend());
    EXPECT_EQ(guard->getSvgTransform(), transform);
    guard->disableVisualConfirmation();
    EXPECT_THAT(device.takeFrames(), ElementsAre(""));
    EXPECT_FALSE(guard->isVisualConfirmationAllowedToSend());
}

TEST_F(GuardTest, ShowsBoxesWithoutAnAlarmAndTheAreaOnlyWhileTheEventIsOn) {
    watch();
    TrackingObject& object = track(1);
    gate.isOpen = false;
    check(soon(), {&object});
    std::vector<std::string> frames = device.takeFrames();
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_THAT(frames[0], HasSubstr(transform + box("#00FF00") + "</g></svg>"));

    gate.isOpen = true;
    check(soon(), {&object});
    frames = device.takeFrames();
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_THAT(frames[0], HasSubstr(transform + box("#FF0000") + includeArea + "</g></svg>"));
}

TEST_F(GuardTest, ShowsTheAreaAloneWhileTheEventHolds) {
    watch();
    const long start = soon();
    check(start, {&track(1)});
    device.takeFrames();
    check(start + 1);
    const std::vector<std::string> frames = device.takeFrames();
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_THAT(frames[0], HasSubstr(transform + includeArea + "</g></svg>"));
}

TEST_F(GuardTest, SendsOneEmptyPictureWhenNothingIsToBeShown) {
    watch();
    check(soon());
    check(soon());
    EXPECT_THAT(device.takeFrames(), ElementsAre(emptyPicture));
}

TEST_F(GuardTest, LeavesObjectsOfLowConfidenceOutOfThePicture) {
    watch();
    TrackingObject& object = track(1);
    object.confident = false;
    check(soon(), {&object});
    EXPECT_THAT(device.takeFrames(), ElementsAre(emptyPicture));
}

TEST_F(GuardTest, DrawsRedForAlarmsAndGreenForTheRest) {
    AlarmData alarmData(3);
    EXPECT_EQ(guard->createVisualConfirmationSvg(alarmData), "");
    TrackingObject& object = track(1);
    alarmData.addObjectStatus(&object, AlarmDataStatusAlarm);
    alarmData.addObjectStatus(&object, AlarmDataStatusNotOfInterest);
    alarmData.addObjectStatus(&object, AlarmDataStatusFiltered);
    EXPECT_EQ(guard->createVisualConfirmationSvg(alarmData),
              box("#FF0000") + box("#00FF00") + box("#00FF00"));
}

TEST_F(GuardTest, SaysWhetherTheFramesEventCouldBeDeclared) {
    device.failNextDeclaration();
    EXPECT_FALSE(guard->enableVisualConfirmation(transform));
    EXPECT_TRUE(guard->isVisualConfirmationAllowedToSend());
}

// The test event

TEST_F(GuardTest, RunsATestEventForTheHoldTimeAfterTheFirstScene) {
    guard->sendAlarmEvent();
    EXPECT_THAT(events.take(), IsEmpty());
    check(10_s);
    EXPECT_THAT(events.take(), ElementsAre("start Camera1Profile3 10000000"));
    check(10_s + hold);
    EXPECT_THAT(events.take(), IsEmpty());
    check(10_s + hold + 1);
    EXPECT_THAT(events.take(), ElementsAre("end Camera1Profile3 13000001"));
}

TEST_F(GuardTest, JudgesNothingDuringATestEvent) {
    guard->sendAlarmEvent();
    const Verdict verdict = check(10_s, {&track(1)});
    ASSERT_NE(verdict, nullptr);
    EXPECT_EQ(verdict->profileId, 3);
    EXPECT_FALSE(verdict->alarm);
    EXPECT_THAT(verdict->objects, IsEmpty());
    EXPECT_EQ(gate.updates, 0);
    EXPECT_EQ(gate.questions, 0);
}

TEST_F(GuardTest, ShowsOneAndTheSameBoxInEveryTestScene) {
    guard->sendAlarmEvent();
    const Verdict first = check(10_s);
    const Verdict second = check(11_s);
    ASSERT_EQ(first->polygons.size(), 1U);
    EXPECT_EQ(first->polygons, second->polygons);
    const Polygon& shown = *first->polygons[0];
    EXPECT_THAT(shown.points, ElementsAre(Point{-2048, -2048}, Point{-2048, 2048},
                                          Point{2048, 2048}, Point{2048, -2048}));
}

TEST_F(GuardTest, JudgesTheLastSceneOfATestEventNeither) {
    guard->sendAlarmEvent();
    check(10_s);
    check(20_s, {&track(1)});
    EXPECT_EQ(gate.updates, 0);
    EXPECT_THAT(events.take(),
                ElementsAre("start Camera1Profile3 10000000", "end Camera1Profile3 20000000"));
    check(21_s, {objects[0].get()});
    EXPECT_THAT(events.take(), ElementsAre("start Camera1Profile3 21000000"));
}

TEST_F(GuardTest, ProlongsARunningEventByATest) {
    check(10_s, {&track(1)});
    events.take();
    guard->sendAlarmEvent();
    check(12_s);
    check(12_s + hold);
    EXPECT_THAT(events.take(), IsEmpty());
    check(12_s + hold + 1);
    EXPECT_THAT(events.take(), ElementsAre("end Camera1Profile3 15000001"));
}

TEST_F(GuardTest, ShowsTheAreaDuringATestEventAndClearsTheScreenAfterIt) {
    watch();
    guard->sendAlarmEvent();
    const long start = soon();
    check(start);
    check(start + 1);
    std::vector<std::string> frames = device.takeFrames();
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_THAT(frames[0], HasSubstr(transform + includeArea + "</g></svg>"));
    EXPECT_EQ(frames[0], frames[1]);
    check(start + hold + 1);
    EXPECT_THAT(device.takeFrames(), ElementsAre(emptyPicture));
}

TEST_F(GuardTest, RunsATestAgainAfterOneThatHasEnded) {
    guard->sendAlarmEvent();
    check(10_s);
    check(20_s);
    events.take();
    guard->sendAlarmEvent();
    check(30_s);
    EXPECT_THAT(events.take(), ElementsAre("start Camera1Profile3 30000000"));
}

// Presets and movements

TEST_F(GuardTest, IsNeverGatedOnACameraThatDoesNotMove) {
    guard->handleStartupPreset(5);
    guard->handleMovementEvent(true, 100_s);
    EXPECT_TRUE(guard->shouldDataBeProcessed(1_s));
    EXPECT_NE(check(1_s), nullptr);
}

TEST_F(GuardTest, StopsItsEventAtTheStartOfAMovementAndAtItsEndAlike) {
    TrackingObject& object = track(1);
    check(1_s, {&object});
    guard->handleMovementEvent(true, 2_s);
    check(3_s, {&object});
    guard->handleMovementEvent(false, 4_s);
    EXPECT_THAT(events.take(),
                ElementsAre("start Camera1Profile3 1000000", "end Camera1Profile3 2000000",
                            "start Camera1Profile3 3000000", "end Camera1Profile3 4000000"));
}

TEST_F(GuardTest, StopsItsEventWhenAPresetIsLeftButNotWhenOneIsReached) {
    check(1_s, {&track(1)});
    guard->handleStartupPreset(1);
    guard->handleArrivingAtPreset(2, 2_s);
    EXPECT_THAT(events.take(), ElementsAre("start Camera1Profile3 1000000"));
    guard->handleLeavingPreset(3_s);
    EXPECT_THAT(events.take(), ElementsAre("end Camera1Profile3 3000000"));
}

TEST_F(GuardTest, DropsATestEventForGoodWhenTheCameraMoves) {
    guard->sendAlarmEvent();
    check(1_s);
    guard->handleMovementEvent(true, 2_s);
    guard->handleMovementEvent(false, 3_s);
    check(4_s);
    EXPECT_THAT(events.take(),
                ElementsAre("start Camera1Profile3 1000000", "end Camera1Profile3 2000000"));
}

TEST_F(GuardTest, DropsARequestedTestWhenAPresetIsLeft) {
    guard->sendAlarmEvent();
    guard->handleLeavingPreset(2_s);
    check(4_s);
    EXPECT_THAT(events.take(), IsEmpty());
}

TEST_F(GuardTest, ClearsTheScreenWhenTheCameraMoves) {
    watch();
    check(soon(), {&track(1)});
    device.takeFrames();
    guard->handleMovementEvent(true, soon());
    guard->handleMovementEvent(false, soon());
    // Each one starts the count of empty pictures anew.
    EXPECT_THAT(device.takeFrames(), ElementsAre(emptyPicture, emptyPicture));
}

// The gate

TEST_F(MechanicalPTZ_GuardTest, RefusesEveryPresetWhileTheCameraMoves) {
    for (const int preset : {-2, -1, 4}) {
        makeGuard(preset);
        guard->handleStartupPreset(4);
        guard->handleMovementEvent(true, 1_s);
        EXPECT_FALSE(accepts(2_s)) << preset;
        guard->handleMovementEvent(false, 3_s);
        EXPECT_TRUE(accepts(3_s)) << preset;
    }
}

TEST_F(MechanicalPTZ_GuardTest, WatchesAnyPositionFromTheEndOfTheLastMovementOn) {
    makeGuard(Guard::anyPosition);
    EXPECT_TRUE(accepts(0));
    guard->handleMovementEvent(false, 5_s);
    EXPECT_FALSE(accepts(5_s - 1));
    EXPECT_TRUE(accepts(5_s));
}

TEST_F(MechanicalPTZ_GuardTest, ComparesPresetsForASceneFromBeforeTheMovement) {
    makeGuard(Guard::anyPosition);
    guard->handleMovementEvent(false, 5_s);
    guard->handleArrivingAtPreset(-2, 3_s);
    EXPECT_FALSE(accepts(3_s - 1));
    EXPECT_TRUE(accepts(3_s));
}

TEST_F(MechanicalPTZ_GuardTest, WatchesAtAnyPresetFromTheArrivalOn) {
    makeGuard(Guard::anyPreset);
    EXPECT_FALSE(accepts(100_s));
    guard->handleArrivingAtPreset(7, 5_s);
    EXPECT_FALSE(accepts(5_s - 1));
    EXPECT_TRUE(accepts(5_s));
    guard->handleLeavingPreset(8_s);
    EXPECT_FALSE(accepts(9_s));
}

TEST_F(MechanicalPTZ_GuardTest, WatchesAtItsPresetFromTheArrivalOn) {
    makeGuard(4);
    EXPECT_FALSE(accepts(100_s));
    guard->handleArrivingAtPreset(7, 5_s);
    EXPECT_FALSE(accepts(6_s));
    guard->handleArrivingAtPreset(4, 8_s);
    EXPECT_FALSE(accepts(8_s - 1));
    EXPECT_TRUE(accepts(8_s));
}

TEST_F(MechanicalPTZ_GuardTest, TakesTheStartupPresetWithoutATime) {
    makeGuard(4);
    guard->handleStartupPreset(4);
    EXPECT_TRUE(accepts(0));
}

TEST_F(MechanicalPTZ_GuardTest, WatchesAnotherPresetAfterAnUpdate) {
    makeGuard(4);
    guard->handleStartupPreset(5);
    EXPECT_FALSE(accepts(1_s));
    guard->updatePreset(5);
    EXPECT_TRUE(accepts(1_s));
}

TEST_F(MechanicalPTZ_GuardTest, DoesNothingAtAllWithARefusedScene) {
    makeGuard(4);
    guard->handleStartupPreset(4);
    TrackingObject& object = track(1);
    check(1_s, {&object});
    events.take();
    guard->handleStartupPreset(5);
    gate = {};
    EXPECT_EQ(check(100_s, {&object}), nullptr);
    EXPECT_EQ(gate.updates, 0);
    EXPECT_THAT(events.take(), IsEmpty());
}

TEST_F(MechanicalPTZ_GuardTest, RunsATestEventBehindTheGate) {
    makeGuard(4);
    guard->sendAlarmEvent();
    EXPECT_NE(check(1_s), nullptr);
    EXPECT_THAT(events.take(), ElementsAre("start Camera1Profile3 1000000"));
}
