#include "scene/camera.h"

#include <syslog.h>

#include <cstdlib>
#include <cstring>

#include "scene/camera_fixture.h"
#include "scene/nolt_utils.h"
#include "support/fake_clock.h"
#include "support/syslog_capture.h"
#include "tracking/parsed_scene.h"
#include "tracking/tracking_object.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string transform = "<g transform=\"matrix(1 0 0 -1 0 0)\" >";

class CameraTest : public CameraFixture {
protected:
    void install(const std::vector<int>& profiles, int rotation = 0) {
        camera.updateWithNewConfiguration(configurationOf(1, profiles, rotation));
        journal.take();
        events.take();
    }
    void see(SceneStage::Time time) { feed(camera, time); }

    SocketCamera camera{1, 0, versions(), 14};
};

}  // namespace

TEST_F(CameraTest, HoldsItsNumbers) {
    EXPECT_EQ(camera.getCameraId(), 1);
    EXPECT_EQ(camera.getCapabilities(), 14U);
    EXPECT_FALSE(camera.isMotionLevelActive());
    EXPECT_FALSE(camera.isRunning());
}

TEST(IsNull, TellsWhetherThereIsACamera) {
    EXPECT_TRUE(isNull(nullptr));
    int something;
    EXPECT_FALSE(isNull(reinterpret_cast<const Camera*>(&something)));
}

// Guards

TEST_F(CameraTest, FindsGuardsByProfile) {
    install({4, 7});
    EXPECT_EQ(camera.getGuard(7)->getProfileId(), 7);
    EXPECT_EQ(camera.getGuard(5), nullptr);
    EXPECT_TRUE(camera.doesProfileExist(4));
    EXPECT_FALSE(camera.doesProfileExist(5));
}

TEST_F(CameraTest, AppendsAndRemovesGuards) {
    camera.insertGuard(spy(4));
    camera.insertGuard(spy(7));
    EXPECT_TRUE(camera.doesProfileExist(7));
    camera.removeAllGuards();
    EXPECT_FALSE(camera.doesProfileExist(4));
    EXPECT_THAT(journal.take(), ElementsAre("4: deleted", "7: deleted"));
}

TEST_F(CameraTest, DeletesItsGuardsWithItself) {
    {
        SocketCamera other(2, 0, versions(), 14);
        other.insertGuard(spy(4, 2));
    }
    EXPECT_THAT(journal.take(), ElementsAre("4: deleted"));
}

TEST_F(CameraTest, RequestsATestFromTheMatchingGuardAlone) {
    install({4, 7});
    EXPECT_TRUE(camera.sendAlarmEvent(7));
    EXPECT_FALSE(camera.sendAlarmEvent(5));
    EXPECT_THAT(journal.take(), ElementsAre("7: test"));
}

// PTZ events

TEST_F(CameraTest, TellsEveryGuardThatAPresetIsReached) {
    install({4, 7});
    camera.handlePTZ_PresetEvent({true, 2, 6000});
    EXPECT_THAT(journal.take(), ElementsAre("4: arrive 2 6000", "7: arrive 2 6000"));
}

TEST_F(CameraTest, TellsEveryGuardThatItsPresetIsLeft) {
    install({4, 7});
    camera.handlePTZ_PresetEvent({true, 2, 6000});
    journal.take();
    camera.handlePTZ_PresetEvent({false, 2, 7000});
    EXPECT_THAT(journal.take(), ElementsAre("4: leave 7000", "7: leave 7000"));
    camera.handlePTZ_PresetEvent({false, 2, 8000});
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(CameraTest, IgnoresTheLeavingOfAnotherPreset) {
    install({4});
    camera.handlePTZ_PresetEvent({true, 2, 6000});
    journal.take();
    camera.handlePTZ_PresetEvent({false, 3, 7000});
    EXPECT_THAT(journal.take(), IsEmpty());
    camera.updateWithNewConfiguration(configurationOf(1, {5}));
    EXPECT_THAT(journal.take(), ElementsAre("4: deleted", "5: startup 2"));
}

TEST_F(CameraTest, IgnoresAPresetEventWithoutAPreset) {
    install({4});
    camera.handlePTZ_PresetEvent({true, -1, 6000});
    camera.handlePTZ_PresetEvent({false, -1, 7000});
    EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(CameraTest, TellsNewGuardsThePresetItStandsAt) {
    camera.updateWithNewConfiguration(configurationOf(1, {4}));
    camera.handlePTZ_PresetEvent({true, 2, 6000});
    camera.updateWithNewConfiguration(configurationOf(1, {5}));
    camera.handlePTZ_PresetEvent({false, 2, 7000});
    camera.updateWithNewConfiguration(configurationOf(1, {6}));
    EXPECT_THAT(journal.take(),
                ElementsAre("4: startup -3", "4: arrive 2 6000", "4: deleted", "5: startup 2",
                            "5: leave 7000", "5: deleted", "6: startup -3"));
}

TEST_F(CameraTest, TellsEveryGuardOfAMovement) {
    install({4, 7});
    camera.handlePTZ_MovementEvent({true, 8000});
    camera.handlePTZ_MovementEvent({false, 9000});
    EXPECT_THAT(journal.take(), ElementsAre("4: move 1 8000", "7: move 1 8000", "4: move 0 9000",
                                            "7: move 0 9000"));
}

// Visual confirmation

TEST_F(CameraTest, HasNoVisualConfirmationAtFirst) {
    install({4, 7});
    const VC_Data none = camera.getVC_Data();
    EXPECT_EQ(none.profileId, -1);
    EXPECT_EQ(none.name, "");
}

TEST_F(CameraTest, EnablesAndDisablesVisualConfirmationOfOneProfile) {
    install({4, 7});
    EXPECT_TRUE(camera.enableVisualConfirmation(7, transform));
    EXPECT_EQ(camera.getVC_Data().profileId, 7);
    EXPECT_EQ(camera.getVC_Data().name, transform);
    camera.disableVisualConfirmation(4);
    EXPECT_EQ(camera.getVC_Data().profileId, 7);
    camera.disableVisualConfirmation(7);
    EXPECT_EQ(camera.getVC_Data().profileId, -1);
    EXPECT_THAT(device.takeFrames(), ElementsAre(""));
}

TEST_F(CameraTest, DisablesVisualConfirmationOfAllProfiles) {
    install({4, 7});
    camera.enableVisualConfirmation(4, transform);
    camera.enableVisualConfirmation(7, transform);
    camera.disableVisualConfirmation();
    EXPECT_EQ(camera.getVC_Data().profileId, -1);
    EXPECT_THAT(device.takeFrames(), ElementsAre("", ""));
}

TEST_F(CameraTest, CannotEnableAnUnknownProfileOrWithoutTheEvent) {
    install({4});
    EXPECT_FALSE(camera.enableVisualConfirmation(5, transform));
    WatchedDevice::failNextDeclaration();
    EXPECT_FALSE(camera.enableVisualConfirmation(4, transform));
}

TEST_F(CameraTest, DoesNotCountVisualConfirmationThatHasTimedOut) {
    FakeClock clock(1'000'000'000);
    install({4});
    camera.enableVisualConfirmation(4, transform);
    clock.advance(900'000'000);
    EXPECT_EQ(camera.getVC_Data().profileId, 4);
    clock.advance(1);
    EXPECT_EQ(camera.getVC_Data().profileId, -1);
}

// The motion level

TEST_F(CameraTest, SendsTheSummedAreaOfItsObjectsWithoutAnyGuard) {
    FakeClock clock(1'000'000'000);
    camera.startMotionLevel();
    EXPECT_TRUE(camera.isMotionLevelActive());
    scene.track(1).enters({-2048, 0}, {2048, 4096});
    scene.track(2).enters({2048, 0}, {2048, 2048});
    see(1s);
    EXPECT_THAT(WatchedDevice::motionLevels(), IsEmpty());
    clock.advance(5'000'001);
    see(6s);
    EXPECT_THAT(WatchedDevice::motionLevels(), ElementsAre("18.7500"));
}

TEST_F(CameraTest, SendsALevelOfNothingForScenesWithoutObjects) {
    FakeClock clock(1'000'000'000);
    camera.startMotionLevel();
    see(1s);
    clock.advance(5'000'001);
    see(6s);
    EXPECT_THAT(WatchedDevice::motionLevels(), ElementsAre("0.0000"));
}

TEST_F(CameraTest, SumsAreasIn32Bits) {
    FakeClock clock(1'000'000'000);
    camera.startMotionLevel();
    // 64 times 2^26 is 0.
    for (int id = 1; id <= 64; ++id) {
        scene.track(id).enters({0, 0}, {8192, 8192});
    }
    see(1s);
    clock.advance(5'000'001);
    see(6s);
    EXPECT_THAT(WatchedDevice::motionLevels(), ElementsAre("0.0000"));
}

TEST_F(CameraTest, SendsNoMotionLevelUnlessItIsOn) {
    see(1s);
    EXPECT_FALSE(WatchedDevice::isDeclared("Camera1MotionLevel"));
    camera.startMotionLevel();
    camera.stopMotionLevel();
    EXPECT_FALSE(camera.isMotionLevelActive());
    see(2s);
    EXPECT_FALSE(WatchedDevice::isDeclared("Camera1MotionLevel"));
    camera.startMotionLevel();
    see(3s);
    EXPECT_TRUE(WatchedDevice::isDeclared("Camera1MotionLevel"));
}

TEST_F(CameraTest, TakesTheMotionLevelEventAwayWithItself) {
    {
        SocketCamera other(3, 0, versions(), 14);
        other.startMotionLevel();
        feed(other, 1s);
        EXPECT_TRUE(WatchedDevice::isDeclared("Camera3MotionLevel"));
    }
    EXPECT_TRUE(WatchedDevice::isUndeclaredInTime("Camera3MotionLevel"));
}

// New configurations

TEST_F(CameraTest, SwapsItsGuardsInTheOrderOfTheConfiguration) {
    install({7, 4});
    camera.updateWithNewConfiguration(configurationOf(1, {6, 5}));
    see(1s);
    EXPECT_THAT(journal.take(),
                ElementsAre("7: deleted", "4: deleted", "6: startup -3", "5: startup -3",
                            "6: scene 1000000", "5: scene 1000000"));
}

TEST_F(CameraTest, ForgetsItsObjectsWithEveryConfiguration) {
    install({4});
    scene.track(3).enters({0, 0}, {100, 100});
    see(1s);
    see(2s);
    camera.updateWithNewConfiguration(configurationOf(1, {5}, 0));
    see(3s);
    EXPECT_THAT(journal.take(),
                ElementsAre("4: scene 1000000 3@1000000", "4: scene 2000000 3@1000000",
                            "4: deleted", "5: startup -3", "5: scene 3000000 3@3000000"));
}

TEST_F(CameraTest, TakesTheRotationOfTheConfiguration) {
    struct SizeSpy : SpyGuard {
        using SpyGuard::SpyGuard;
        AlarmData* updateObjectsAndGetAlarms(ParsedScene& seen) override {
            width = seen.activeObjects.at(0)->getWidth();
            return SpyGuard::updateObjectsAndGetAlarms(seen);
        }
        int width = 0;
    };
    scene.track(3).enters({0, 0}, {100, 200});
    for (const auto& [rotation, width] : {std::pair(0, 100), {90, 200}, {180, 100}, {270, 200}}) {
        auto* guard = new SizeSpy(4, 1, events, journal);
        CameraConfiguration configuration(1, rotation);
        configuration.insertGuard(guard);
        camera.updateWithNewConfiguration(configuration);
        see(1s);
        EXPECT_EQ(guard->width, width) << rotation;
    }
}

TEST_F(CameraTest, MeasuresObjectsByTheAspectRatioOfItsOwnSource) {
    struct RatioSpy : SpyGuard {
        using SpyGuard::SpyGuard;
        AlarmData* updateObjectsAndGetAlarms(ParsedScene& seen) override {
            width = seen.activeObjects.at(0)->getAspectCorrectedWidth();
            return SpyGuard::updateObjectsAndGetAlarms(seen);
        }
        int width = 0;
    };
    ZQParameterDouble::set("root.ImageSource.I0.Sensor.AspectRatio", "3:1");
    ZQParameterDouble::set("root.ImageSource.I1.Sensor.AspectRatio", "2:1");
    SocketCamera second(2, 0, versions(), 14);
    auto* guard = new RatioSpy(4, 2, events, journal);
    second.insertGuard(guard);
    scene.track(3).enters({0, 0}, {100, 200});
    feed(second, 1s);
    EXPECT_EQ(guard->width, 200);
}

TEST_F(CameraTest, CarriesVisualConfirmationOverToTheSameProfile) {
    install({4, 7});
    camera.enableVisualConfirmation(7, transform);
    camera.updateWithNewConfiguration(configurationOf(1, {7, 4}));
    EXPECT_EQ(camera.getVC_Data().profileId, 7);
    EXPECT_EQ(camera.getVC_Data().name, transform);
    // The old guard's farewell; the declaration stays.
    EXPECT_THAT(device.takeFrames(), ElementsAre(""));
    WatchedDevice::runTimer();
    EXPECT_TRUE(WatchedDevice::isDeclared("xinternal_data"));
}

TEST_F(CameraTest, DropsVisualConfirmationOfAProfileThatIsGone) {
    install({4, 7});
    camera.enableVisualConfirmation(7, transform);
    camera.updateWithNewConfiguration(configurationOf(1, {4}));
    EXPECT_EQ(camera.getVC_Data().profileId, -1);
    EXPECT_TRUE(WatchedDevice::isUndeclaredInTime("xinternal_data"));
}

TEST_F(CameraTest, GoesOnWhenCarriedOverVisualConfirmationCannotBeDeclared) {
    install({4});
    WatchedDevice::failNextDeclaration();
    camera.enableVisualConfirmation(4, transform);
    const CameraConfiguration next = configurationOf(1, {4});
    WatchedDevice::failNextDeclaration();
    const SyslogCapture log;
    camera.updateWithNewConfiguration(next);
    EXPECT_TRUE(log.has(LOG_WARNING, "FAILED to create event xinternal_data \n"));
    EXPECT_TRUE(camera.doesProfileExist(4));
}

// Scenes

TEST_F(CameraTest, ShowsEachSceneToEveryGuardInOrder) {
    install({4, 7});
    scene.track(3).enters({0, 0}, {100, 100});
    see(1s);
    EXPECT_THAT(journal.take(),
                ElementsAre("4: scene 1000000 3@1000000", "7: scene 1000000 3@1000000"));
    EXPECT_THAT(events.take(),
                ElementsAre("start Camera1Profile4 1000000", "start Camera1Profile7 1000000"));
}

TEST_F(CameraTest, TracksObjectsWithoutGuards) {
    scene.track(3).enters({0, 0}, {100, 100});
    see(1s);
    camera.insertGuard(spy(4));
    see(2s);
    EXPECT_THAT(journal.take(), ElementsAre("4: scene 2000000 3@1000000"));
}

TEST_F(CameraTest, TakesAPayloadThatCannotBeReadAsAnEmptySceneAtTimeZero) {
    install({4});
    char* rubbish = strdup("this is not a scene");
    camera.handleNoltData(rubbish);
    free(rubbish);
    EXPECT_THAT(journal.take(), ElementsAre("4: scene 0"));
}

TEST_F(CameraTest, NeverTouchesTheOverlayOnTheSocketTransport) {
    install({4});
    see(1s);
    EXPECT_THAT(AlarmOverlayDouble::lines(), IsEmpty());
}
