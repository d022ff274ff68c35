#pragma once

#include <cstdint>
#include <map>
#include <utility>

class TrackingObject;

/// Owns the tracked objects of one camera, one per id, up to a limit. Guarded by the camera's lock.
class ObjectStorage {
public:
    explicit ObjectStorage(unsigned maxSize);
    ~ObjectStorage();
    ObjectStorage(const ObjectStorage&) = delete;
    ObjectStorage& operator=(const ObjectStorage&) = delete;

    /// Takes the object over; a full storage first sheds a fifth of its capacity. Null is ignored.
    /// An object whose id is present is neither taken over nor destroyed.
    void insert(int id, TrackingObject* object);
    /// Takes the object out and transfers it to the caller; null if absent.
    TrackingObject* remove(int id);
    /// Takes the object out and destroys it.
    void deleteObj(int id);
    void deleteAll();
    /// Destroys up to `count` objects, those longest unseen first, equal ones by ascending id. No
    /// one is told of their end.
    void deleteOldElements(unsigned count);

    /// The object, borrowed, or null.
    TrackingObject* getObject(int id) const;
    bool contains(int id) const;
    unsigned getSize() const;

private:
    std::map<int, TrackingObject*> objects;  ///< owned
    std::uint32_t maxSize;                   ///< constant
    std::uint32_t cleanupCount;              ///< constant; how many objects a full storage sheds
};

/// Whether the first object was last seen before the second.
bool isSeenBefore(const std::pair<int, TrackingObject*>& first,
                  const std::pair<int, TrackingObject*>& second);
