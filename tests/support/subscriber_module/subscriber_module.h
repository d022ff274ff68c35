#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

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
    bool deleted = false;
};

/// The inside of the test's subscriber module: what was asked of it, what it is to answer, and the
/// module's own side of the callbacks. Any thread may call.
class SubscriberModule {
public:
    /// Forgets everything; no subscription may be used any more.
    void reset();

    /// The result of an entry point, by its name without "video_scene_subscriber_", until told
    /// otherwise; 0 at first. "create" gives null for anything but 0.
    void setResult(const std::string& entry, int result);

    /// What was asked since the last call, a line each: "create 0 2" with channel and format,
    /// "subscribe 1" with the number of the subscription.
    std::vector<std::string> takeCalls();
    bool wasAsked(const std::string& call) const;

    /// Subscriptions that are not deleted.
    int live() const;
    /// Uses of a subscription that is deleted.
    int misuses() const;

    /// Hands a payload, a heap block, to the newest subscription of the channel on this thread, as
    /// its own thread would. False, and the block stays the caller's, if nobody has subscribed.
    bool deliver(int channel, char* payload);
    /// Tells the newest subscription of the channel that its source is gone.
    bool disconnect(int channel);

    video_scene_subscriber_st* create(int channel, int format, void* userData);
    /// Notes the call; the result that was set for it.
    int call(const std::string& entry, video_scene_subscriber_st* subscriber);

private:
    video_scene_subscriber_st* newestOf(int channel);
    int resultOf(const std::string& entry) const;

    mutable std::mutex mutex;
    std::vector<std::unique_ptr<video_scene_subscriber_st>> subscribers;
    std::map<std::string, int> results;
    std::vector<std::string> calls;
    int misuseCount = 0;
};

/// The one instance. It lives in the test program, where the module's entry points find it.
extern "C" SubscriberModule* subscriber_module();
