#include "support/subscriber_module/subscriber_module.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

constexpr int injectedFailure = -3;
/// Longer than anything but a lock-up takes.
constexpr auto longestWait = std::chrono::seconds(10);

}  // namespace

void SubscriberModule::reset() {
    const std::lock_guard lock(mutex);
    subscribers.clear();
    results.clear();
    faults = {};
    actions.clear();
    calls.clear();
    misuseCount = 0;
    disconnectCount = 0;
}

void SubscriberModule::setResult(const std::string& entry, int result) {
    const std::lock_guard lock(mutex);
    results[entry] = result;
}

void SubscriberModule::failCall(const std::string& entry, int n) {
    const std::lock_guard lock(mutex);
    faults.failCall(entry, n);
}

void SubscriberModule::failAnyCall(int n) {
    const std::lock_guard lock(mutex);
    faults.failAnyCall(n);
}

void SubscriberModule::during(const std::string& entry, std::function<void()> action) {
    const std::lock_guard lock(mutex);
    actions[entry] = std::move(action);
}

std::vector<std::string> SubscriberModule::takeCalls() {
    const std::lock_guard lock(mutex);
    return std::exchange(calls, {});
}

bool SubscriberModule::wasAsked(const std::string& wanted) const {
    const std::lock_guard lock(mutex);
    return std::ranges::count(calls, wanted) != 0;
}

int SubscriberModule::live() const {
    const std::lock_guard lock(mutex);
    return static_cast<int>(
        std::ranges::count_if(subscribers, [](const auto& one) { return !one->deleted; }));
}

int SubscriberModule::misuses() const {
    const std::lock_guard lock(mutex);
    return misuseCount;
}

int SubscriberModule::running(int channel) const {
    const std::lock_guard lock(mutex);
    int count = 0;
    for (const auto& one : subscribers) {
        count += one->channel == channel ? one->running : 0;
    }
    return count;
}

int SubscriberModule::disconnects() const {
    const std::lock_guard lock(mutex);
    return disconnectCount;
}

bool SubscriberModule::deliver(int channel, char* payload) {
    Lock lock(mutex);
    video_scene_subscriber_st* subscriber = newestOf(channel);
    if (subscriber == nullptr || subscriber->onMessage == nullptr) {
        return false;
    }
    run(lock, subscriber,
        [payload, callback = subscriber->onMessage, userData = subscriber->userData] {
            callback(payload, userData);
        });
    return true;
}

bool SubscriberModule::disconnect(int channel) {
    Lock lock(mutex);
    video_scene_subscriber_st* subscriber = newestOf(channel);
    if (subscriber == nullptr || subscriber->onDisconnect == nullptr) {
        return false;
    }
    subscriber->disconnected = true;
    waitForCallbacks(lock, subscriber);
    if (!subscriber->subscribed) {
        return false;
    }
    ++disconnectCount;
    run(lock, subscriber,
        [this, callback = subscriber->onDisconnect, userData = subscriber->userData] {
            callback(userData);
            Lock again(mutex);
            act(again, "on_disconnect");
        });
    return true;
}

void SubscriberModule::run(Lock& lock, video_scene_subscriber_st* subscriber,
                           const std::function<void()>& call) {
    ++subscriber->running;
    lock.unlock();
    call();
    lock.lock();
    --subscriber->running;
    misuseCount += subscriber->deleted ? 1 : 0;
    returned.notify_all();
}

void SubscriberModule::waitForCallbacks(Lock& lock, const video_scene_subscriber_st* subscriber) {
    if (!returned.wait_for(lock, longestWait, [&] { return subscriber->running == 0; })) {
        fputs("the module waits for a callback that waits for the module's caller\n", stderr);
        std::abort();
    }
}

video_scene_subscriber_st* SubscriberModule::create(int channel, int format, void* userData) {
    Lock lock(mutex);
    calls.push_back("create " + std::to_string(channel) + " " + std::to_string(format));
    if (resultOf("create") != 0) {
        return nullptr;
    }
    const int number = static_cast<int>(subscribers.size()) + 1;
    subscribers.push_back(std::make_unique<video_scene_subscriber_st>(
        video_scene_subscriber_st{number, channel, format, userData}));
    video_scene_subscriber_st* made = subscribers.back().get();
    act(lock, "create");
    return made;
}

int SubscriberModule::call(const std::string& entry, video_scene_subscriber_st* subscriber) {
    Lock lock(mutex);
    calls.push_back(entry + " " + std::to_string(subscriber->number));
    misuseCount += subscriber->deleted ? 1 : 0;
    const int result = resultOf(entry);
    if (entry == "subscribe") {
        subscriber->subscribed = result == 0;
    } else if (entry == "unsubscribe" || entry == "delete") {
        subscriber->subscribed = false;
        waitForCallbacks(lock, subscriber);
        subscriber->deleted = subscriber->deleted || entry == "delete";
    }
    if (result == 0) {
        act(lock, entry);
    }
    return result;
}

void SubscriberModule::act(Lock& lock, const std::string& entry) {
    const std::function<void()> action = actions[entry];
    if (action) {
        lock.unlock();
        action();
        lock.lock();
    }
}

video_scene_subscriber_st* SubscriberModule::newestOf(int channel) {
    for (auto one = subscribers.rbegin(); one != subscribers.rend(); ++one) {
        if ((*one)->subscribed && !(*one)->disconnected && (*one)->channel == channel) {
            return one->get();
        }
    }
    return nullptr;
}

int SubscriberModule::resultOf(const std::string& entry) {
    if (faults.fails(entry)) {
        return injectedFailure;
    }
    const auto result = results.find(entry);
    return result == results.end() ? 0 : result->second;
}

SubscriberModule* subscriber_module() {
    static SubscriberModule instance;
    return &instance;
}
