#include "scene/scene.h"

#include "scene/decoder.h"

#define SCENE_EXPORT __attribute__((visibility("default")))

extern "C" {

SCENE_EXPORT scene_st* scene_copy_from_area(const char* data) {
    return scene_decoder::copyFromArea(data);
}

SCENE_EXPORT void scene_delete(scene_st* scene) {
    scene_decoder::destroy(scene);
}

SCENE_EXPORT int scene_get_prop(const scene_st* scene, scene_prop_e prop, const void** value) {
    return scene_decoder::property(scene, prop, value);
}

SCENE_EXPORT const scene_object_st* scene_next_object(const scene_st* scene,
                                                      const scene_object_st* previous) {
    return scene_decoder::nextObject(scene, previous);
}

SCENE_EXPORT int32_t scene_get_object_id(const scene_object_st* object) {
    return scene_decoder::objectId(object);
}

SCENE_EXPORT int scene_get_obj_prop(const scene_object_st* object, scene_prop_e prop,
                                    const void** value) {
    return scene_decoder::objectProperty(object, prop, value);
}

SCENE_EXPORT const scene_event_st* scene_next_event(const scene_st* scene,
                                                    const scene_event_st* previous) {
    return scene_decoder::nextEvent(scene, previous);
}

SCENE_EXPORT int scene_get_event_action(const scene_event_st* event) {
    return scene_decoder::eventAction(event);
}

SCENE_EXPORT int scene_get_evt_prop(const scene_event_st* event, scene_prop_e prop,
                                    const void** value) {
    return scene_decoder::eventProperty(event, prop, value);
}
}
