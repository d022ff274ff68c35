#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

#include "engine/scene_server.h"
#include "own_folder.h"
#include "subscriber_recorder.h"

/// A test with the scene engine's own server of two cameras at the module's socket.
class EngineStage : public OwnFolder {
protected:
    EngineStage() { startEngine(); }

    void startEngine() {
        engine = std::make_unique<SceneServer>(socket, 2, [this](int) {
            const std::lock_guard lock(mutex);
            ++openedStreams;
            changed.notify_all();
        });
    }
    void stopEngine() { engine.reset(); }

    /// Subscribes, and returns when what is published from now on arrives.
    int subscribe(SubscriberRecorder& subscriber) {
        const int code = subscriber.subscribe();
        if (code == 0) {
            waitForStreams(++grantedStreams);
        }
        return code;
    }

    void publish(std::int64_t time, int camera = 1) { publish(sceneAt(time), camera); }
    void publish(const SceneRecord& scene, int camera = 1) { engine->publish(camera, scene); }

    static SceneRecord sceneAt(std::int64_t time) {
        SceneRecord scene;
        setSceneTime(scene, time);
        return scene;
    }

    int streams() {
        const std::lock_guard lock(mutex);
        return openedStreams;
    }

    std::unique_ptr<SceneServer> engine;

private:
    void waitForStreams(int count) {
        std::unique_lock lock(mutex);
        EXPECT_TRUE(changed.wait_for(lock, std::chrono::seconds(20),
                                     [&] { return openedStreams >= count; }));
    }

    std::mutex mutex;
    std::condition_variable changed;
    int openedStreams = 0;  // guarded by the mutex
    int grantedStreams = 0;
};
