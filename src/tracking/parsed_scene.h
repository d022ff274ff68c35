#pragma once

#include <cstdint>
#include <vector>

class TrackingObject;

/// What one scene means to the guards of a camera: the objects seen in it and those that ended.
/// Guards may annotate the objects of both lists while it lives. It must not outlive the storage of
/// its camera, nor may a pointer from it be kept beyond it.
class ParsedScene {
public:
    /// `timestamp` is the scene's, in microseconds. With `ownsActiveObjects` the active objects are
    /// destroyed with the scene; otherwise they are borrowed from the storage.
    ParsedScene(const long& timestamp, bool ownsActiveObjects);
    ~ParsedScene();
    ParsedScene(ParsedScene&& other) noexcept;
    ParsedScene(const ParsedScene&) = delete;
    ParsedScene& operator=(const ParsedScene&) = delete;

    /// Appends; null is ignored.
    void insertActiveObject(TrackingObject* object);
    /// Appends and takes over; null is ignored.
    void insertDeletedObject(TrackingObject* object);

    std::int64_t timestamp;
    std::vector<TrackingObject*> activeObjects;   ///< in the order of the scene; an id may repeat
    std::vector<TrackingObject*> deletedObjects;  ///< owned; in the order of the delete events
    bool ownsActiveObjects;
};
