#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "double/fault_plan.h"

/// One subscription of the test's subscriber module. It stays, marked, when it is deleted, so that
/// a later use is seen.
struct video_scene_subscriber_st {
    int number;  ///< in the order of creation, from 1
    int channel;
    int format;
    void* userData;
    void (*onMessage)(char* payload, void* userData) = nullptr;
    void (*onDisconnect)(void* userData) = nullptr;
    bool subscribed = false;
    bool disconnected = false;  ///< has made its one disconnect callback, the last of all
    bool deleted = false;
    int running = 0;  ///< callbacks that have begun and not returned
};

/// The inside of the test's subscriber module: what was asked of it, what it is to answer, and the
/// module's own side of the callbacks. Any thread may call.
///
/// It keeps the module's promises: unsubscribing and deleting return only when no callback of the
/// subscription runs any more, none begins after them or after the one disconnect callback, and a
/// subscription that fails calls nothing back. A wait of ten seconds is a lock-up and ends the
/// process.
class SubscriberModule {
public:
    /// Forgets everything; no subscription may be used any more.
    void reset();

    /// The result of an entry point, by its name without "video_scene_subscriber_", until told
    /// otherwise; 0 at first. "create" gives null for anything but 0.
    void setResult(const std::string& entry, int result);
    /// Lets the n-th call from now (from 1), of an entry point or of any, fail with -3.
    void failCall(const std::string& entry, int n);
    void failAnyCall(int n);
    /// Runs `action` in each call of an entry point that succeeds, before it returns, with nothing
    /// locked here; null for no action. "on_disconnect" stands for the disconnect callback: the
    /// action runs when that has returned and still counts as running.
    void during(const std::string& entry, std::function<void()> action);

    /// What was asked since the last call, a line each: "create 0 2" with channel and format,
    /// "subscribe 1" with the number of the subscription.
    std::vector<std::string> takeCalls();
    bool wasAsked(const std::string& call) const;

    /// Subscriptions that are not deleted.
    int live() const;
    /// Uses of a subscription that is deleted, and callbacks on one.
    int misuses() const;
    /// Callbacks of the channel that have begun and not returned.
    int running(int channel) const;
    /// Disconnect callbacks made since reset().
    int disconnects() const;

    /// Hands a payload, a heap block, to the newest subscription of the channel on this thread, as
    /// its own thread would. False, and the block stays the caller's, if nobody has subscribed.
    bool deliver(int channel, char* payload);
    /// Tells the newest subscription of the channel, when its other callbacks have returned, that
    /// its source is gone. False if nobody has subscribed, or it was told before.
    bool disconnect(int channel);

    video_scene_subscriber_st* create(int channel, int format, void* userData);
    /// Notes the call; the result that was set for it.
    int call(const std::string& entry, video_scene_subscriber_st* subscriber);

private:
    using Lock = std::unique_lock<std::mutex>;

    video_scene_subscriber_st* newestOf(int channel);
    int resultOf(const std::string& entry);
    /// Runs a callback with nothing locked.
    void run(Lock& lock, video_scene_subscriber_st* subscriber, const std::function<void()>& call);
    void act(Lock& lock, const std::string& entry);
    void waitForCallbacks(Lock& lock, const video_scene_subscriber_st* subscriber);

    mutable std::mutex mutex;
    std::condition_variable returned;
    std::vector<std::unique_ptr<video_scene_subscriber_st>> subscribers;
    std::map<std::string, int> results;
    FaultPlan faults;
    std::map<std::string, std::function<void()>> actions;
    std::vector<std::string> calls;
    int misuseCount = 0;
    int disconnectCount = 0;
};

/// The one instance. It lives in the test program, where the module's entry points find it.
extern "C" SubscriberModule* subscriber_module();
