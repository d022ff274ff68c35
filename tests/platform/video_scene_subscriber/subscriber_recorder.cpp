#include "subscriber_recorder.h"

#include <chrono>
#include <cstdlib>
#include <utility>

#include "scene/scene.h"

namespace {

constexpr std::chrono::seconds patience{20};

std::int64_t timeOf(const scene_st* scene) {
    const void* value = nullptr;
    return scene != nullptr && scene_get_prop(scene, SCENE_PROP_TIMESTAMP, &value) == 1
               ? *static_cast<const std::int64_t*>(value)
               : -1;
}

std::string contentOf(const scene_st* scene) {
    std::string content;
    const scene_object_st* object = nullptr;
    while (scene != nullptr && (object = scene_next_object(scene, object)) != nullptr) {
        const auto letter = [&](scene_prop_e property, const char* text) {
            const void* value = nullptr;
            scene_get_obj_prop(object, property, &value);
            return std::string(value == nullptr ? "" : text);
        };
        content += (content.empty() ? "" : " ") + std::to_string(scene_get_object_id(object)) +
                   letter(SCENE_PROP_BOUNDING_BOX, "b") + letter(SCENE_PROP_POLYGON, "p") +
                   letter(SCENE_PROP_VELOCITY, "v") + letter(SCENE_PROP_CONFIDENCE, "c");
    }
    return content;
}

}  // namespace

SubscriberRecorder::SubscriberRecorder(int channel, data_format_t format)
    : subscriber(module().create(channel, format, this)) {
    module().setOnMessage(subscriber, messageArrived);
    module().setOnDisconnect(subscriber, disconnected);
}

SubscriberRecorder::~SubscriberRecorder() {
    if (subscriber != nullptr) {
        remove();
    }
}

SubscriberRecorder& SubscriberRecorder::enableAll() {
    module().enableBoundingBox(subscriber);
    module().enablePolygon(subscriber);
    module().enableVelocity(subscriber);
    module().enableLowConfident(subscriber);
    return *this;
}

int SubscriberRecorder::remove() {
    const int code = module().remove(subscriber);
    subscriber = nullptr;  // only now: a callback that still ran has used it
    return code;
}

void SubscriberRecorder::messageArrived(char* payload, void* userData) {
    auto& recorder = *static_cast<SubscriberRecorder*>(userData);
    recorder.begin();
    scene_st* scene = scene_copy_from_area(payload);
    {
        const std::lock_guard lock(recorder.mutex);
        recorder.sceneTimes.push_back(timeOf(scene));
        recorder.sceneContents.push_back(contentOf(scene));
        recorder.changed.notify_all();
    }
    scene_delete(scene);
    std::free(payload);
    if (recorder.onScene) {
        recorder.onScene(recorder);
    }
    recorder.end();
}

void SubscriberRecorder::disconnected(void* userData) {
    auto& recorder = *static_cast<SubscriberRecorder*>(userData);
    recorder.begin();
    if (recorder.onDisconnected) {
        recorder.onDisconnected(recorder);
    }
    recorder.end();
    // The last touch: a test may end when it has seen this.
    const std::lock_guard lock(recorder.mutex);
    ++recorder.disconnectCount;
    recorder.changed.notify_all();
}

void SubscriberRecorder::begin() {
    overlapCount += ++running == 1 ? 0 : 1;
    const std::lock_guard lock(mutex);
    lastThread = std::this_thread::get_id();
}

void SubscriberRecorder::end() {
    --running;
}

bool SubscriberRecorder::waitForScenes(std::size_t count) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, patience, [&] { return sceneTimes.size() >= count; });
}

bool SubscriberRecorder::waitForDisconnects(int count) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, patience, [&] { return disconnectCount >= count; });
}

bool SubscriberRecorder::waitForCallback() {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, patience,
                            [&] { return !sceneTimes.empty() || disconnectCount > 0; });
}

std::vector<std::int64_t> SubscriberRecorder::times() const {
    const std::lock_guard lock(mutex);
    return sceneTimes;
}

std::vector<std::string> SubscriberRecorder::contents() const {
    const std::lock_guard lock(mutex);
    return sceneContents;
}

int SubscriberRecorder::disconnects() const {
    const std::lock_guard lock(mutex);
    return disconnectCount;
}

std::thread::id SubscriberRecorder::thread() const {
    const std::lock_guard lock(mutex);
    return lastThread;
}
