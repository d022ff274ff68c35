#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "scene/scene.h"

/// Reading of scenes in tests, through the library's calls alone.

struct SceneDeleter {
    void operator()(scene_st* scene) const { scene_delete(scene); }
};

using OwnedScene = std::unique_ptr<scene_st, SceneDeleter>;

inline OwnedScene readScene(const char* payload) {
    return OwnedScene(scene_copy_from_area(payload));
}

inline std::vector<const scene_object_st*> objectsOf(const scene_st* scene) {
    std::vector<const scene_object_st*> objects;
    for (auto* object = scene_next_object(scene, nullptr); object != nullptr;
         object = scene_next_object(scene, object)) {
        objects.push_back(object);
    }
    return objects;
}

inline std::vector<const scene_event_st*> eventsOf(const scene_st* scene) {
    std::vector<const scene_event_st*> events;
    for (auto* event = scene_next_event(scene, nullptr); event != nullptr;
         event = scene_next_event(scene, event)) {
        events.push_back(event);
    }
    return events;
}

/// The numbers that a property call gave.
template <typename Number>
std::vector<Number> numbers(const void* first, int count) {
    const auto* values = static_cast<const Number*>(first);
    return count < 1 ? std::vector<Number>() : std::vector<Number>(values, values + count);
}

inline std::vector<std::int16_t> coordinates(const scene_object_st* object, scene_prop_e prop) {
    const void* first = nullptr;
    const int count = scene_get_obj_prop(object, prop, &first);
    return numbers<std::int16_t>(first, 2 * count);
}

inline std::vector<std::int32_t> ids(const scene_event_st* event, scene_prop_e prop) {
    const void* first = nullptr;
    const int count = scene_get_evt_prop(event, prop, &first);
    return numbers<std::int32_t>(first, count);
}

/// Reads everything the scene holds and returns a number made of it, so that nothing is left
/// unread.
inline std::int64_t readAll(const scene_st* scene) {
    std::int64_t sum = 0;
    const void* value = nullptr;
    if (scene_get_prop(scene, SCENE_PROP_TIMESTAMP, &value) == 1) {
        sum += static_cast<std::int64_t>(*static_cast<const std::uint64_t*>(value) % 1000);
    }
    for (const auto* object : objectsOf(scene)) {
        sum += scene_get_object_id(object);
        for (const auto prop : {SCENE_PROP_BOUNDING_BOX, SCENE_PROP_POLYGON}) {
            for (const std::int16_t coordinate : coordinates(object, prop)) {
                sum += coordinate;
            }
        }
        const int velocities = scene_get_obj_prop(object, SCENE_PROP_VELOCITY, &value);
        for (const std::int32_t speed : numbers<std::int32_t>(value, velocities)) {
            sum += speed;
        }
        const int confidences = scene_get_obj_prop(object, SCENE_PROP_CONFIDENCE, &value);
        for (const std::int16_t confidence : numbers<std::int16_t>(value, confidences)) {
            sum += confidence;
        }
    }
    for (const auto* event : eventsOf(scene)) {
        sum += scene_get_event_action(event);
        for (const auto prop : {SCENE_PROP_IDS, SCENE_PROP_RELATED_IDS}) {
            for (const std::int32_t id : ids(event, prop)) {
                sum += id;
            }
        }
    }
    return sum;
}
