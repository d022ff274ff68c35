#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "module.h"

/// A subscriber of the module, and what came of it. Its callbacks release the payloads.
class SubscriberRecorder {
public:
    /// Without one of its own, a callback does nothing but take note.
    using Action = std::function<void(SubscriberRecorder&)>;

    explicit SubscriberRecorder(int channel = 0, data_format_t format = SCENE_FORMAT_AREA);
    /// Deletes the subscriber unless that was done.
    ~SubscriberRecorder();
    SubscriberRecorder(const SubscriberRecorder&) = delete;
    SubscriberRecorder& operator=(const SubscriberRecorder&) = delete;

    SubscriberRecorder& enableAll();
    int subscribe() { return module().subscribe(subscriber); }
    int unsubscribe() { return module().unsubscribe(subscriber); }
    int remove();

    /// Done in the callback, after the note. Set before subscribing.
    void whenScene(Action action) { onScene = std::move(action); }
    void whenDisconnected(Action action) { onDisconnected = std::move(action); }

    /// Waits until so much has come in all; false if it does not.
    bool waitForScenes(std::size_t count);
    bool waitForDisconnects(int count);
    /// For the first callback of either kind.
    bool waitForCallback();

    /// Scene times in nanoseconds, -1 for a payload that is none.
    std::vector<std::int64_t> times() const;
    /// Each scene's objects: id, and a letter for each property, in one text a scene.
    std::vector<std::string> contents() const;
    int disconnects() const;
    /// The thread of the last callback.
    std::thread::id thread() const;
    /// Callbacks that began while another ran.
    int overlaps() const { return overlapCount; }

    video_scene_subscriber_st* subscriber;

private:
    static void messageArrived(char* payload, void* userData);
    static void disconnected(void* userData);
    void begin();
    void end();

    Action onScene;
    Action onDisconnected;
    std::atomic<int> running{0};
    std::atomic<int> overlapCount{0};

    mutable std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::int64_t> sceneTimes;  // guarded by the mutex, as all below
    std::vector<std::string> sceneContents;
    int disconnectCount = 0;
    std::thread::id lastThread;
};
