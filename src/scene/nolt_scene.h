#pragma once

#include <cstdint>
#include <vector>

#include "scene/scene.h"

class NoltObject;
class NoltSceneEvent;

/// One decoded scene: it owns what it lists and lives for the processing of the scene.
class NoltScene {
public:
    /// Decodes the payload, which stays the caller's and is not needed afterwards. `capabilities`
    /// says what is read of each object. A payload that cannot be read gives an empty scene at time
    /// 0, silently.
    NoltScene(const char* data, int capabilities);
    ~NoltScene();
    NoltScene(const NoltScene&) = delete;
    NoltScene& operator=(const NoltScene&) = delete;

    std::int64_t timestamp = 0;  ///< microseconds on the monotonic clock; 0 when the scene has none
    std::vector<NoltObject*> activeObjects;    ///< owned, in the library's order; ids may repeat
    std::vector<std::int32_t> deletedObjects;  ///< ids, in event order
    std::vector<NoltSceneEvent*> mergeEvents;  ///< owned, in event order
    std::vector<NoltSceneEvent*> splitEvents;  ///< owned, in event order

private:
    void findSceneTimestamp(const scene_st* scene);
    void findActiveObjectsFromScene(const scene_st* scene, int capabilities);
    void findEventsFromScene(const scene_st* scene);
    void handleDeleteEvent(const scene_event_st* event);
    void handleSplitEvent(const scene_event_st* event);
    void handleMergeEvent(const scene_event_st* event);
};
