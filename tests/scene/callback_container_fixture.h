#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "app/interval_timer_observable.h"
#include "config/idd.h"
#include "scene/callback_camera.h"
#include "scene/callback_camera_container.h"
#include "scene/camera_fixture.h"
#include "scene/video_scene_subscriber.h"
#include "support/subscriber_module/named_subscriber_module.h"
#include "support/temporary_folder.h"
#include "support/wait_for.h"

/// The container, open to tests.
class OpenContainer : public CallbackCameraContainer {
public:
    using CallbackCameraContainer::CallbackCameraContainer;
    using CameraContainer::s_cameras;

    /// A process shuts down once; tests do so more often.
    static void reset() {
        g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
        s_isRunning = true;
        s_reconnectMap.clear();
    }
    static std::size_t reconnections() {
        g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
        return s_reconnectMap.size();
    }
    static std::vector<int> observers() {
        g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
        std::vector<int> ids;
        for (const auto& [id, camera] : s_reconnectMap) {
            ids.push_back(id);
        }
        return ids;
    }
    /// The observer of the only reconnection.
    static int observer() {
        g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
        return s_reconnectMap.begin()->first;
    }
    /// Registers an observer that ticks with every cycle of the timer, or after some microseconds,
    /// and counts its ticks.
    static int observeEveryCycle(long interval = 0) {
        ticks = 0;
        return IntervalTimerObservable::registerObserver(
            [](int observerId) {
                ++ticks;
                reconnectCamera(observerId);
            },
            interval);
    }
    /// The same, for a camera to be reconnected.
    static void reconnectEveryCycle(CallbackCamera* camera, long interval = 0) {
        g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
        s_reconnectMap[observeEveryCycle(interval)] = camera;
    }
    /// Ticks up to three cycles from now; one more than asked for may come.
    static int ticksInTime() {
        for (int cycle = 0; cycle < 3; ++cycle) {
            WatchedDevice::runTimer();
        }
        return ticks;
    }

private:
    static inline std::atomic<int> ticks{0};
};

/// A container on the test's subscriber module, with an installation data file and spy guards.
class CallbackContainerTest : public CameraFixture {
protected:
    CallbackContainerTest() {
        OpenContainer::reset();
        VideoSceneSubscriber::initialize();
        IDD::initialize(API_Version("1.0"), folder.path("idd.json"));
        makeContainer();
    }
    ~CallbackContainerTest() override {
        container.reset();
        EXPECT_EQ(module->live(), 0);
        EXPECT_EQ(module->misuses(), 0);
        OpenContainer::reset();
        IDD::deinitialize();
        VideoSceneSubscriber::deinitialize();
    }

    void makeContainer(unsigned capabilities = 14) {
        container.reset();
        container = std::make_unique<OpenContainer>(versions(), capabilities);
    }
    void apply(const std::vector<std::pair<int, std::vector<int>>>& cameras) {
        CameraConfigurationContainer configuration;
        for (const auto& [camera, profiles] : cameras) {
            configuration.insert(configurationOf(camera, profiles));
        }
        container->updateWithNewConfiguration(configuration);
    }
    /// Delivers as a thread of the module does. False if nobody has subscribed.
    bool deliver(int channel, SceneStage::Time time) {
        ScenePayload payload = scene.payloadAt(time);
        bool isTaken = false;
        std::thread([&] { isTaken = module->deliver(channel, payload.release()); }).join();
        return isTaken;
    }
    void disconnect(int channel) {
        std::thread([&] { module->disconnect(channel); }).join();
    }
    /// How many losses the installation data file counts.
    int disconnects() const {
        const std::string key = "\"nbrNoltDisconnects\":";
        const std::string content = folder.read("idd.json");
        return std::stoi(content.substr(content.find(key) + key.size()));
    }
    bool isReconnectedInTime() {
        return waitFor([] { return OpenContainer::reconnections() == 0; });
    }

    NamedSubscriberModule module;
    TemporaryFolder folder;
    std::unique_ptr<OpenContainer> container;
};
