#include "scene/callback_camera.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "scene/camera_fixture.h"
#include "scene/video_scene_subscriber.h"
#include "support/fake_clock.h"
#include "support/subscriber_module/named_subscriber_module.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class CallbackCameraTest : public CameraFixture {
protected:
    CallbackCameraTest() {
        VideoSceneSubscriber::initialize();
        camera = std::make_unique<CallbackCamera>(1, 0, versions(), 14);
    }
    ~CallbackCameraTest() override {
        camera.reset();
        EXPECT_EQ(module->live(), 0);
        EXPECT_EQ(module->misuses(), 0);
        VideoSceneSubscriber::deinitialize();
    }

    void install(const std::vector<int>& profiles) {
        camera->updateWithNewConfiguration(configurationOf(1, profiles));
        journal.take();
    }
    /// The payload passes to the camera: the sanitizers tell whether it is freed, and once.
    void see(SceneStage::Time time) { camera->handleNoltData(scene.payloadAt(time).release()); }

    video_scene_subscriber_st* subscribe() {
        auto* subscriber = VideoSceneSubscriber::createSubscriber(1, SCENE_FORMAT_AREA, nullptr);
        VideoSceneSubscriber::subscribe(subscriber);
        camera->setSubscriber(subscriber);
        module->takeCalls();
        return subscriber;
    }

    NamedSubscriberModule module;
    std::unique_ptr<CallbackCamera> camera;
};

}  // namespace

TEST_F(CallbackCameraTest, ShowsASceneToItsGuardsAndTheOverlay) {
    install({4, 7});
    scene.track(3).enters({0, 0}, {100, 100});
    scene.track(5).enters({500, 0}, {100, 100});
    see(1s);
    EXPECT_THAT(journal.take(), ElementsAre("4: scene 1000000 3@1000000 5@1000000",
                                            "7: scene 1000000 3@1000000 5@1000000"));
    EXPECT_THAT(AlarmOverlayDouble::lines(), ElementsAre("scene 1000000 profiles 4:2 7:2"));
}

TEST_F(CallbackCameraTest, TellsTheOverlayOfScenesWithoutGuardsToo) {
    see(1s);
    EXPECT_THAT(AlarmOverlayDouble::lines(), ElementsAre("scene 1000000 profiles"));
}

TEST_F(CallbackCameraTest, TellsTheOverlayOfATestWithoutObjects) {
    install({4});
    camera->sendAlarmEvent(4);
    scene.track(3).enters({0, 0}, {100, 100});
    see(1s);
    EXPECT_THAT(AlarmOverlayDouble::lines(), ElementsAre("scene 1000000 profiles 4:0"));
}

TEST_F(CallbackCameraTest, LeavesGuardsOutThatRefuseTheScene) {
    struct RefusingGuard : SpyGuard {
        using SpyGuard::SpyGuard;
        AlarmData* checkObjects(ParsedScene&) override { return nullptr; }
    };
    camera->insertGuard(new RefusingGuard(4, 1, events, journal));
    camera->insertGuard(spy(7));
    see(1s);
    EXPECT_THAT(AlarmOverlayDouble::lines(), ElementsAre("scene 1000000 profiles 7:0"));
}

TEST_F(CallbackCameraTest, SendsTheMotionLevel) {
    FakeClock clock(1'000'000'000);
    camera->startMotionLevel();
    scene.track(3).enters({0, 0}, {8192, 8192});
    see(1s);
    clock.advance(5'000'001);
    see(6s);
    EXPECT_THAT(WatchedDevice::motionLevels(), ElementsAre("100.0000"));
}

TEST_F(CallbackCameraTest, IgnoresANullPayload) {
    install({4});
    camera->handleNoltData(nullptr);
    EXPECT_THAT(journal.take(), IsEmpty());
    EXPECT_THAT(AlarmOverlayDouble::lines(), IsEmpty());
}

TEST_F(CallbackCameraTest, TakesAPayloadThatCannotBeReadAsAnEmptySceneAtTimeZero) {
    install({4});
    camera->handleNoltData(strdup("this is not a scene"));
    EXPECT_THAT(journal.take(), ElementsAre("4: scene 0"));
}

TEST_F(CallbackCameraTest, FreesPayloadsUnreadOnceItIsStopped) {
    install({4});
    camera->stop();
    see(1s);
    EXPECT_THAT(journal.take(), IsEmpty());
    EXPECT_THAT(AlarmOverlayDouble::lines(), IsEmpty());
}

TEST_F(CallbackCameraTest, EndsItsSubscriptionWhenItIsStopped) {
    subscribe();
    camera->stop();
    EXPECT_THAT(module->takeCalls(), ElementsAre("unsubscribe 1", "delete 1"));
    camera->stop();
    EXPECT_THAT(module->takeCalls(), IsEmpty());
}

TEST_F(CallbackCameraTest, EndsItsSubscriptionWithItself) {
    subscribe();
    camera.reset();
    EXPECT_THAT(module->takeCalls(), ElementsAre("unsubscribe 1", "delete 1"));
}

TEST_F(CallbackCameraTest, DeletesTheOldSubscriptionForANewOne) {
    subscribe();
    camera->setSubscriber(VideoSceneSubscriber::createSubscriber(1, SCENE_FORMAT_AREA, nullptr));
    EXPECT_THAT(module->takeCalls(), ElementsAre("create 0 2", "delete 1"));
}

TEST_F(CallbackCameraTest, ForgetsItsObjectsWithANewSubscription) {
    install({4});
    scene.track(3).enters({0, 0}, {100, 100});
    see(1s);
    subscribe();
    see(2s);
    EXPECT_THAT(journal.take(),
                ElementsAre("4: scene 1000000 3@1000000", "4: scene 2000000 3@2000000"));
}

TEST_F(CallbackCameraTest, HasNoThread) {
    EXPECT_FALSE(camera->isRunning());
    camera->join();
}
