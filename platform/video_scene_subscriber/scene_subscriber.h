#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "video_scene_subscriber/scene_stream.h"
#include "video_scene_subscriber/video_scene_subscriber.h"

/// One subscriber of the module; video_scene_subscriber.h tells what it promises.
///
///     Idle --subscribe()--> Connecting --granted--> Subscribed --stream's end, unsubscribe()--+
///      ^                        |                                                             v
///      |<--------refused--------+                                                          Ending
///      +------------------------------------------------ the thread's last callback returned -+
///
/// The thread runs from Subscribed to the end of Ending, which is the last it tells; the handle of
/// a thread that has ended waits for the next to subscribe, to unsubscribe or to delete.
///
/// The thread holds a reference of its own, so a callback may delete its subscriber.
class SceneSubscriber : public std::enable_shared_from_this<SceneSubscriber> {
public:
    /// The path is borrowed for the subscriber's life.
    SceneSubscriber(const char* socketPath, int channel, int format, void* callbackData);
    ~SceneSubscriber();
    SceneSubscriber(const SceneSubscriber&) = delete;
    SceneSubscriber& operator=(const SceneSubscriber&) = delete;

    int subscribe();
    int unsubscribe();
    int setDisconnectCallback(video_scene_subscriber_disconnect_t callback);
    int setMessageCallback(video_scene_subscriber_message_t callback);
    /// Enables one of the request's properties.
    int enable(bool SceneStream::Request::*property);

private:
    enum class State { Idle, Connecting, Subscribed, Ending };
    using Lock = std::unique_lock<std::mutex>;

    bool isOwnCallback() const { return thread.get_id() == std::this_thread::get_id(); }
    template <typename Change>
    int changeWhenIdle(Change change);
    int open(SceneStream& fresh, Lock& lock) const;
    int startThread();
    void joinEndedThread(Lock& lock);
    void endSubscription();

    void run();
    bool deliver(char* payload);
    void tellDisconnect();

    const char* const path;
    const int dataFormat;
    void* const userData;

    std::mutex mutex;
    std::condition_variable changed;
    // Guarded by the mutex; while a subscription lives the thread reads the callbacks without it.
    State state = State::Idle;
    SceneStream::Request request;
    video_scene_subscriber_message_t onMessage = nullptr;
    video_scene_subscriber_disconnect_t onDisconnect = nullptr;
    std::unique_ptr<SceneStream> stream;  // the thread reads it without the mutex
    std::thread thread;
};
