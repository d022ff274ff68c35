#include "scene/nolt_scene_event.h"

#include <utility>

NoltSceneEvent::NoltSceneEvent(int objectId, std::vector<std::int32_t> related)
    : id(objectId), relatedIds(std::move(related)) {}
