#include "scene/nolt_object.h"

#include <syslog.h>

#include "geometry/polygon.h"
#include "scene/nolt_utils.h"

namespace {

// An object is sure from here on: 4096 is full confidence.
constexpr int lowConfidenceLimit = 4095;

bool hasCapability(int capabilities, SceneCapability capability) {
    return (static_cast<unsigned>(capabilities) & capability) != 0;
}

}  // namespace

NoltObject::NoltObject(const scene_object_st* object, long sceneTimestamp, int capabilities)
    : id(scene_get_object_id(object)), timestamp(sceneTimestamp) {
    if (hasCapability(capabilities, CapabilityVelocity)) {
        getVelocity(object, velocity);
    }
    if (hasCapability(capabilities, CapabilityPolygon)) {
        polygon = createPolygon(object, SCENE_PROP_POLYGON);
    }
    if (hasCapability(capabilities, CapabilityBoundingBox)) {
        boundingBox = createPolygon(object, SCENE_PROP_BOUNDING_BOX);
    }
    if (hasCapability(capabilities, CapabilityLowConfident)) {
        confident = isConfident(object);
    }
}

NoltObject::NoltObject(int objectId, long sceneTimestamp, const NoltVelocity& objectVelocity,
                       Polygon* newPolygon, Polygon* newBoundingBox, bool isObjectConfident)
    : id(objectId),
      timestamp(sceneTimestamp),
      velocity(objectVelocity),
      polygon(newPolygon),
      boundingBox(newBoundingBox),
      confident(isObjectConfident) {}

NoltObject::~NoltObject() {
    delete boundingBox;
    delete polygon;
}

int NoltObject::getWidth() const {
    const Polygon* outline = polygon != nullptr ? polygon : boundingBox;
    return outline != nullptr ? outline->width : 0;
}

int NoltObject::getHeight() const {
    const Polygon* outline = polygon != nullptr ? polygon : boundingBox;
    return outline != nullptr ? outline->height : 0;
}

Polygon* NoltObject::createPolygon(const scene_object_st* object, scene_prop_e property) {
    const void* points = nullptr;
    const int count = scene_get_obj_prop(object, property, &points);
    // Repairs whatever is too short to be an outline, a missing one too.
    return new Polygon(static_cast<const short*>(points), count);
}

void NoltObject::getVelocity(const scene_object_st* object, NoltVelocity& velocity) {
    const void* values = nullptr;
    const int count = scene_get_obj_prop(object, SCENE_PROP_VELOCITY, &values);
    if (values != nullptr && count == 2) {
        const auto* pair = static_cast<const std::int32_t*>(values);
        velocity = {pair[0], pair[1]};
    }
}

bool NoltObject::isConfident(const scene_object_st* object) {
    const void* value = nullptr;
    if (scene_get_obj_prop(object, SCENE_PROP_CONFIDENCE, &value) < 0 || value == nullptr) {
        syslog(LOG_WARNING, "Could not get confidence value for object\n");
        return true;
    }
    return *static_cast<const std::int16_t*>(value) > lowConfidenceLimit;
}
