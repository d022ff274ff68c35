#include "scene/nolt_scene.h"

#include "scene/nolt_object.h"
#include "scene/nolt_scene_event.h"

namespace {

constexpr std::uint64_t nanosecondsPerMicrosecond = 1000;

// Object ids as the library lists them.
struct Ids {
    const std::int32_t* first;
    int count;

    bool empty() const { return first == nullptr || count < 1; }
};

Ids idsOf(const scene_event_st* event, scene_prop_e property) {
    const void* ids = nullptr;
    const int count = scene_get_evt_prop(event, property, &ids);
    return {static_cast<const std::int32_t*>(ids), count};
}

void appendRelation(const scene_event_st* event, std::vector<NoltSceneEvent*>& events) {
    const Ids ids = idsOf(event, SCENE_PROP_IDS);
    const Ids related = idsOf(event, SCENE_PROP_RELATED_IDS);
    if (ids.empty() || related.empty()) {
        return;
    }
    events.push_back(
        new NoltSceneEvent(ids.first[0], {related.first, related.first + related.count}));
}

template <typename Item>
void deleteAll(const std::vector<Item*>& items) {
    for (const Item* item : items) {
        delete item;
    }
}

}  // namespace

NoltScene::NoltScene(const char* data, int capabilities) {
    scene_st* scene = scene_copy_from_area(data);
    if (scene != nullptr) {
        findSceneTimestamp(scene);
        findActiveObjectsFromScene(scene, capabilities);
        findEventsFromScene(scene);
    }
    scene_delete(scene);
}

NoltScene::~NoltScene() {
    deleteAll(splitEvents);
    deleteAll(mergeEvents);
    deleteAll(activeObjects);
}

void NoltScene::findSceneTimestamp(const scene_st* scene) {
    const void* nanoseconds = nullptr;
    const int count = scene_get_prop(scene, SCENE_PROP_TIMESTAMP, &nanoseconds);
    if (nanoseconds != nullptr && count == 1) {
        timestamp = static_cast<std::int64_t>(*static_cast<const std::uint64_t*>(nanoseconds) /
                                              nanosecondsPerMicrosecond);
    }
}

void NoltScene::findActiveObjectsFromScene(const scene_st* scene, int capabilities) {
    const scene_object_st* object = scene_next_object(scene, nullptr);
    while (object != nullptr) {
        activeObjects.push_back(new NoltObject(object, timestamp, capabilities));
        object = scene_next_object(scene, object);
    }
}

void NoltScene::findEventsFromScene(const scene_st* scene) {
    const scene_event_st* event = scene_next_event(scene, nullptr);
    while (event != nullptr) {
        switch (scene_get_event_action(event)) {
            case SCENE_ACTION_DELETE:
                handleDeleteEvent(event);
                break;
            case SCENE_ACTION_SPLIT:
                handleSplitEvent(event);
                break;
            case SCENE_ACTION_MERGE:
                handleMergeEvent(event);
                break;
            default:
                break;
        }
        event = scene_next_event(scene, event);
    }
}

void NoltScene::handleDeleteEvent(const scene_event_st* event) {
    const Ids ids = idsOf(event, SCENE_PROP_IDS);
    if (!ids.empty()) {
        deletedObjects.insert(deletedObjects.end(), ids.first, ids.first + ids.count);
    }
}

void NoltScene::handleSplitEvent(const scene_event_st* event) {
    appendRelation(event, splitEvents);
}

void NoltScene::handleMergeEvent(const scene_event_st* event) {
    appendRelation(event, mergeEvents);
}
