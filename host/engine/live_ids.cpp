#include "engine/live_ids.h"

void LiveIds::follow(const SceneRecord& scene) {
    for (const SceneEventRecord& event : scene.events) {
        if (event.action == SCENE_ACTION_DELETE) {
            for (const std::int32_t id : event.ids) {
                ids.erase(id);
            }
        } else if (event.action == SCENE_ACTION_MERGE) {
            for (const std::int32_t id : event.relatedIds) {
                ids.erase(id);
            }
        }
    }
    for (const SceneObjectRecord& object : scene.objects) {
        ids.insert(object.id);
    }
}

std::vector<std::int32_t> LiveIds::end() {
    std::vector<std::int32_t> ended(ids.begin(), ids.end());
    ids.clear();
    return ended;
}
