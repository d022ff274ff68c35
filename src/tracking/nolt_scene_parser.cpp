#include "tracking/nolt_scene_parser.h"

#include <syslog.h>

#include <algorithm>

#include "scene/nolt_object.h"
#include "scene/nolt_scene.h"
#include "scene/nolt_scene_event.h"
#include "tracking/tracking_object.h"

namespace {

// More than any picture shows; what is beyond it are objects whose end was never told.
constexpr unsigned maxObjectsPerCamera = 500;

// The stored objects of the ids, in their order; absent ones are left out.
template <typename Object>
std::vector<Object*> presentObjects(const ObjectStorage& storage,
                                    const std::vector<std::int32_t>& ids) {
    std::vector<Object*> objects;
    for (const std::int32_t id : ids) {
        if (TrackingObject* object = storage.getObject(id)) {
            objects.push_back(object);
        }
    }
    return objects;
}

}  // namespace

NoltSceneParser::NoltSceneParser(int rotation, float ratio)
    : storage(maxObjectsPerCamera), cameraRotation(rotation), aspectRatio(ratio) {}

ParsedScene NoltSceneParser::parse(const NoltScene& scene) {
    ParsedScene parsed(scene.timestamp, false);
    createOrUpdateObjects(scene);
    mergeObjects(scene);
    splitObjects(scene);
    moveDeletedObjects(scene, parsed);
    listActiveObjects(scene, parsed);
    return parsed;
}

void NoltSceneParser::createOrUpdateObjects(const NoltScene& scene) {
    for (const NoltObject* object : scene.activeObjects) {
        if (TrackingObject* known = storage.getObject(object->id)) {
            known->update(*object);
        } else {
            storage.insert(object->id, new TrackingObject(*object, cameraRotation, aspectRatio));
        }
    }
}

void NoltSceneParser::mergeObjects(const NoltScene& scene) {
    for (const NoltSceneEvent* event : scene.mergeEvents) {
        if (storage.getSize() == 0) {
            return;
        }
        mergeObjects(*event);
    }
}

void NoltSceneParser::mergeObjects(const NoltSceneEvent& event) {
    TrackingObject* target = storage.getObject(event.id);
    if (target == nullptr) {
        return;
    }
    const auto& ids = event.relatedIds;
    const bool isTargetAmongSources = std::find(ids.begin(), ids.end(), target->id) != ids.end();
    mergeTrackingObject(*target, presentObjects<const TrackingObject>(storage, ids),
                        isTargetAmongSources);
}

void NoltSceneParser::mergeTrackingObject(TrackingObject& target,
                                          const std::vector<const TrackingObject*>& sources,
                                          bool isTargetAmongSources) {
    target.merge(sources, isTargetAmongSources);
}

void NoltSceneParser::splitObjects(const NoltScene& scene) {
    for (const NoltSceneEvent* event : scene.splitEvents) {
        if (storage.getSize() == 0) {
            return;
        }
        splitObjects(*event);
    }
}

void NoltSceneParser::splitObjects(const NoltSceneEvent& event) {
    const TrackingObject* source = storage.getObject(event.id);
    if (source == nullptr) {
        return;
    }
    auto destinations = presentObjects<TrackingObject>(storage, event.relatedIds);
    source->split(destinations);
}

void NoltSceneParser::moveDeletedObjects(const NoltScene& scene, ParsedScene& parsed) {
    for (const std::int32_t id : scene.deletedObjects) {
        if (storage.getSize() == 0) {
            return;
        }
        parsed.insertDeletedObject(storage.remove(id));
    }
}

void NoltSceneParser::listActiveObjects(const NoltScene& scene, ParsedScene& parsed) {
    parsed.activeObjects.reserve(scene.activeObjects.size());
    for (const NoltObject* object : scene.activeObjects) {
        if (TrackingObject* known = storage.getObject(object->id)) {
            parsed.insertActiveObject(known);
        } else {
            syslog(LOG_WARNING, "Object with id %i was not found in the storage\n", object->id);
        }
    }
}

void NoltSceneParser::updateCameraRotation(int rotation) {
    if (rotation != cameraRotation) {
        cameraRotation = rotation;
        storage.deleteAll();
    }
}

ObjectStorage& NoltSceneParser::getStorage() {
    return storage;
}

int NoltSceneParser::getCameraRotation() const {
    return cameraRotation;
}
