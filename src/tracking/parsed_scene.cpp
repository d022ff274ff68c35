#include "tracking/parsed_scene.h"

#include <utility>

#include "tracking/tracking_object.h"

namespace {

void append(std::vector<TrackingObject*>& objects, TrackingObject* object) {
    if (object != nullptr) {
        objects.push_back(object);
    }
}

void deleteAll(const std::vector<TrackingObject*>& objects) {
    for (const TrackingObject* object : objects) {
        delete object;
    }
}

}  // namespace

ParsedScene::ParsedScene(const long& time, bool areActiveObjectsOwned)
    : timestamp(time), ownsActiveObjects(areActiveObjectsOwned) {}

ParsedScene::ParsedScene(ParsedScene&& other) noexcept
    : timestamp(other.timestamp),
      activeObjects(std::exchange(other.activeObjects, {})),
      deletedObjects(std::exchange(other.deletedObjects, {})),
      ownsActiveObjects(other.ownsActiveObjects) {}

ParsedScene::~ParsedScene() {
    deleteAll(deletedObjects);
    if (ownsActiveObjects) {
        deleteAll(activeObjects);
    }
}

void ParsedScene::insertActiveObject(TrackingObject* object) {
    append(activeObjects, object);
}

void ParsedScene::insertDeletedObject(TrackingObject* object) {
    append(deletedObjects, object);
}
