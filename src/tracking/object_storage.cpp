#include "tracking/object_storage.h"

#include <algorithm>
#include <vector>

#include "tracking/tracking_object.h"

namespace {

// Evicting many at once pays the sorting once for all of them.
constexpr double cleanupShare = 0.2;

}  // namespace

ObjectStorage::ObjectStorage(unsigned limit)
    : maxSize(limit), cleanupCount(static_cast<std::uint32_t>(limit * cleanupShare)) {}

ObjectStorage::~ObjectStorage() {
    deleteAll();
}

void ObjectStorage::insert(int id, TrackingObject* object) {
    if (object == nullptr || contains(id)) {
        return;
    }
    if (getSize() >= maxSize) {
        deleteOldElements(cleanupCount);
    }
    objects.emplace(id, object);
}

TrackingObject* ObjectStorage::remove(int id) {
    const auto found = objects.find(id);
    if (found == objects.end()) {
        return nullptr;
    }
    TrackingObject* object = found->second;
    objects.erase(found);
    return object;
}

void ObjectStorage::deleteObj(int id) {
    delete remove(id);
}

void ObjectStorage::deleteAll() {
    for (const auto& [id, object] : objects) {
        delete object;
    }
    objects.clear();
}

void ObjectStorage::deleteOldElements(unsigned count) {
    std::vector<std::pair<int, TrackingObject*>> byAge(objects.begin(), objects.end());
    // Stable, so that ids decide among objects last seen together.
    std::stable_sort(byAge.begin(), byAge.end(), isSeenBefore);
    byAge.resize(std::min<std::size_t>(byAge.size(), count));
    for (const auto& [id, object] : byAge) {
        deleteObj(id);
    }
}

TrackingObject* ObjectStorage::getObject(int id) const {
    const auto found = objects.find(id);
    return found != objects.end() ? found->second : nullptr;
}

bool ObjectStorage::contains(int id) const {
    return objects.find(id) != objects.end();
}

unsigned ObjectStorage::getSize() const {
    return static_cast<unsigned>(objects.size());
}

bool isSeenBefore(const std::pair<int, TrackingObject*>& first,
                  const std::pair<int, TrackingObject*>& second) {
    return first.second->lastSeen < second.second->lastSeen;
}
