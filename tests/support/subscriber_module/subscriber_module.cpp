#include "support/subscriber_module/subscriber_module.h"

#include <algorithm>
#include <utility>

void SubscriberModule::reset() {
    const std::lock_guard lock(mutex);
    subscribers.clear();
    results.clear();
    calls.clear();
    misuseCount = 0;
}

void SubscriberModule::setResult(const std::string& entry, int result) {
    const std::lock_guard lock(mutex);
    results[entry] = result;
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

bool SubscriberModule::deliver(int channel, char* payload) {
    std::unique_lock lock(mutex);
    const video_scene_subscriber_st* subscriber = newestOf(channel);
    if (subscriber == nullptr || subscriber->onMessage == nullptr) {
        return false;
    }
    const auto callback = subscriber->onMessage;
    void* userData = subscriber->userData;
    lock.unlock();
    callback(payload, userData);
    return true;
}

bool SubscriberModule::disconnect(int channel) {
    std::unique_lock lock(mutex);
    const video_scene_subscriber_st* subscriber = newestOf(channel);
    if (subscriber == nullptr || subscriber->onDisconnect == nullptr) {
        return false;
    }
    const auto callback = subscriber->onDisconnect;
    void* userData = subscriber->userData;
    lock.unlock();
    callback(userData);
    return true;
}

video_scene_subscriber_st* SubscriberModule::create(int channel, int format, void* userData) {
    const std::lock_guard lock(mutex);
    calls.push_back("create " + std::to_string(channel) + " " + std::to_string(format));
    if (resultOf("create") != 0) {
        return nullptr;
    }
    const int number = static_cast<int>(subscribers.size()) + 1;
    subscribers.push_back(std::make_unique<video_scene_subscriber_st>(
        video_scene_subscriber_st{number, channel, format, userData}));
    return subscribers.back().get();
}

int SubscriberModule::call(const std::string& entry, video_scene_subscriber_st* subscriber) {
    const std::lock_guard lock(mutex);
    calls.push_back(entry + " " + std::to_string(subscriber->number));
    misuseCount += subscriber->deleted ? 1 : 0;
    const int result = resultOf(entry);
    if (entry == "delete") {
        subscriber->deleted = true;
        subscriber->subscribed = false;
    } else if (entry == "subscribe") {
        subscriber->subscribed = result == 0;
    } else if (entry == "unsubscribe") {
        subscriber->subscribed = false;
    }
    return result;
}

video_scene_subscriber_st* SubscriberModule::newestOf(int channel) {
    for (auto one = subscribers.rbegin(); one != subscribers.rend(); ++one) {
        if ((*one)->subscribed && (*one)->channel == channel) {
            return one->get();
        }
    }
    return nullptr;
}

int SubscriberModule::resultOf(const std::string& entry) const {
    const auto result = results.find(entry);
    return result == results.end() ? 0 : result->second;
}

SubscriberModule* subscriber_module() {
    static SubscriberModule instance;
    return &instance;
}
