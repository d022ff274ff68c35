#pragma once

#include <stdint.h>

/// Reading of scene payloads: one timestamp, the objects of one analysed picture, and what the
/// tracking engine says about objects that ended, split or merged.
///
/// The library keeps no state and takes no locks; it may be used from any number of threads, each
/// handle from one at a time. It logs nothing. Handles and everything read from them are borrowed
/// from the scene and end with scene_delete().

#ifdef __cplusplus
extern "C" {
#endif

typedef struct scene_st scene_st;
typedef struct scene_object_st scene_object_st;
typedef struct scene_event_st scene_event_st;

/// The properties, numbered over scene, objects and events together.
typedef enum {
    SCENE_PROP_TIMESTAMP = 0,     ///< of a scene: one uint64_t, nanoseconds on the monotonic clock
    SCENE_PROP_BOUNDING_BOX = 5,  ///< of an object: pairs of int16_t x, y; counted in points
    SCENE_PROP_POLYGON = 6,       ///< of an object: pairs of int16_t x, y; counted in points
    SCENE_PROP_VELOCITY = 7,      ///< of an object: two int32_t x, y, scene units a second; count 2
    SCENE_PROP_IDS = 9,           ///< of an event: int32_t object ids
    SCENE_PROP_RELATED_IDS = 10,  ///< of an event: int32_t object ids
    SCENE_PROP_CONFIDENCE = 15    ///< of an object: one int16_t, 4096 is full confidence; count 1
} scene_prop_e;

/// What happened to the objects of an event.
typedef enum {
    SCENE_ACTION_DELETE = 0,  ///< the objects of the ids ended
    SCENE_ACTION_SPLIT = 1,   ///< the related ids split off from the first of the ids
    SCENE_ACTION_MERGE = 2    ///< the related ids were merged into the first of the ids
} scene_event_action_e;

/// The most points an outline or a bounding box can have.
enum { SCENE_MAX_POINTS = 1000 };

/// Reads a payload. `data` is the start of a block of malloc(3), borrowed: it must stay as it is
/// until scene_delete(). The payload tells its own length, which is held against the size of the
/// block; everything in it is verified before anything is handed out, so no content of the block
/// makes the library read beyond it. Returns the scene, to be given to scene_delete(); null for
/// null, and for a payload that is cut, damaged, or of another kind.
scene_st* scene_copy_from_area(const char* data);

/// Ends a scene and all handles and pointers taken from it; null is allowed.
void scene_delete(scene_st* scene);

/// Sets `*value` to the property and returns its count. A missing property gives null and 0; a
/// number that is no property of a scene gives null and -1.
int scene_get_prop(const scene_st* scene, scene_prop_e prop, const void** value);

/// The object after `previous` in the order of the payload, the first one for null; null at the
/// end.
const scene_object_st* scene_next_object(const scene_st* scene, const scene_object_st* previous);

/// The id of the object. Ids may occur more than once in a scene.
int32_t scene_get_object_id(const scene_object_st* object);

/// As scene_get_prop(), of an object. Missing confidence gives null and -1.
int scene_get_obj_prop(const scene_object_st* object, scene_prop_e prop, const void** value);

/// The event after `previous` in the order of the payload, the first one for null; null at the end.
const scene_event_st* scene_next_event(const scene_st* scene, const scene_event_st* previous);

/// A scene_event_action_e; a payload may hold other values, which mean nothing here.
int scene_get_event_action(const scene_event_st* event);

/// As scene_get_prop(), of an event.
int scene_get_evt_prop(const scene_event_st* event, scene_prop_e prop, const void** value);

#ifdef __cplusplus
}
#endif
