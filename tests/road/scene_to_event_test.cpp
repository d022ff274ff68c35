// One alarm on its whole road: frames on the scene socket in, events on the bus out, with the
// default document and everything between them.

#include <gmock/gmock.h>

#include <memory>

#include "app/application.h"
#include "app/configuration_loader.h"
#include "cgi/api_version_handler.h"
#include "scene/camera_container.h"
#include "scene/camera_container_factory.h"
#include "support/scene_server.h"
#include "support/scene_stage.h"
#include "support/temporary_folder.h"
#include "support/wait_for.h"
#include "support/watched_device.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class SceneToEvent : public testing::Test {
protected:
    SceneToEvent() {
        ConfigurationLoader::load(
            *container,
            {Application::getDefaultValues(), Application::getDataBoundaries(), controlVersions()},
            {folder.path("config.json"), folder.path("motion_level_config.json")});
        // The factory's try, then the camera's stream.
        server.accept();
        engine = std::make_unique<ScenePeer>(server.acceptAndGrant());
    }
    ~SceneToEvent() override {
        server.stopListening();
        engine->close();
        container->shutDown();
        container.reset();
    }

    static API_VersionHandler sceneVersions() {
        static const char* const texts[] = {"1.0", "1.1"};
        return {texts, 2};
    }
    static const API_VersionHandler& controlVersions() {
        static const char* const texts[] = {"1.0", "1.1", "1.2", "1.3", "1.4"};
        static const API_VersionHandler handler(texts, 5);
        return handler;
    }

    void show(SceneStage::Time time) {
        const ScenePayload payload = stage.payloadAt(time);
        engine->sendFrame({payload.data(), payload.size()});
    }
    /// The events that were sent since the last call, once there are that many.
    std::vector<std::string> take(std::size_t count) {
        EXPECT_TRUE(waitFor([&] { return WatchedDevice::sent().size() >= taken + count; }));
        const std::vector<std::string> all = WatchedDevice::sent();
        const std::vector<std::string> fresh(all.begin() + static_cast<std::ptrdiff_t>(taken),
                                             all.end());
        taken = all.size();
        return fresh;
    }

    WatchedDevice device;
    SceneServer server;
    TemporaryFolder folder;
    std::unique_ptr<CameraContainer> container{CameraContainerFactory::create(sceneVersions(), 14)};
    std::unique_ptr<ScenePeer> engine;
    SceneStage stage;
    std::size_t taken = 0;
};

}  // namespace

TEST_F(SceneToEvent, PublishesAnAlarmInAllItsFormsAndEndsItAfterTheHold) {
    stage.track(1).enters({-1000, 0}, {600, 600});
    show(10s);
    stage.track(1).moves({0, 0});
    show(10500ms);
    // Old enough and far enough.
    show(11s);
    EXPECT_THAT(take(5), ElementsAre("Camera1Profile1 active=true", "Camera1ProfileANY active=true",
                                     "ktw3_video_1 active=true", "MotionAlarm Source=0 State=true",
                                     "Motion VideoSource=0 RuleName=\"Profile 1\" State=true"));
    stage.track(1).hides();
    show(14s);
    show(14001ms);
    EXPECT_THAT(take(5),
                ElementsAre("Camera1Profile1 active=false", "Camera1ProfileANY active=false",
                            "ktw3_video_1 active=false", "MotionAlarm Source=0 State=false",
                            "Motion VideoSource=0 RuleName=\"Profile 1\" State=false"));
}

TEST_F(SceneToEvent, EndsARunningEventWhenTheStreamIsLostAndComesBack) {
    stage.track(1).enters({-1000, 0}, {600, 600});
    show(10s);
    stage.track(1).moves({0, 0});
    show(11s);
    take(5);
    engine->close();
    *engine = server.acceptAndGrant();
    // The same object starts anew: too young to keep the event on.
    show(14500ms);
    EXPECT_EQ(take(5).front(), "Camera1Profile1 active=false");
}

TEST_F(SceneToEvent, SendsNothingForWhatTheFiltersHoldBack) {
    stage.track(1).enters({0, 0}, {100, 100});
    stage.track(2).enters({500, 0}, {600, 600});
    stage.track(3).enters({-500, 0}, {600, 600}).hasConfidence(4095);
    show(10s);
    stage.track(1).moves({1000, 0});
    stage.track(3).moves({1000, 0});
    show(12s);
    stage.track(3).hides();
    stage.track(2).moves({-1000, 0});
    show(13s);
    // Only the second, and only after it moved.
    EXPECT_EQ(take(5).size(), 5U);
    EXPECT_EQ(WatchedDevice::sent().size(), 5U);
}
