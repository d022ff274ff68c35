#pragma once

#include "scene/scene.h"

/// The reading of payloads behind the calls of scene.h, which are these with their names.
namespace scene_decoder {

scene_st* copyFromArea(const char* data);
void destroy(scene_st* scene);
int property(const scene_st* scene, scene_prop_e prop, const void** value);
const scene_object_st* nextObject(const scene_st* scene, const scene_object_st* previous);
int32_t objectId(const scene_object_st* object);
int objectProperty(const scene_object_st* object, scene_prop_e prop, const void** value);
const scene_event_st* nextEvent(const scene_st* scene, const scene_event_st* previous);
int eventAction(const scene_event_st* event);
int eventProperty(const scene_event_st* event, scene_prop_e prop, const void** value);

}  // namespace scene_decoder
