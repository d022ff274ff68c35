#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "geometry/point.h"
#include "tracking/invariant_box.h"
#include "tracking/text_map.h"

class NoltObject;
class Polygon;
class TrackingObjectExternalData;

/// The memory of one object of the tracking engine across scenes. It is owned by the ObjectStorage
/// of its camera, or by the ParsedScene that tells of its end, and used on the scene's thread only.
/// Coordinates are scene units, times microseconds on the scene's (monotonic) clock.
class TrackingObject : public InvariantBox {
public:
    TrackingObject();
    explicit TrackingObject(int id);
    /// Takes the polygon over.
    TrackingObject(int id, Polygon* polygon);
    TrackingObject(int width, int height);
    /// An object that is seen for the first time. The NoltObject must have a polygon.
    TrackingObject(const NoltObject& object, int rotation, float aspectRatio);
    ~TrackingObject();
    TrackingObject(const TrackingObject&) = delete;
    TrackingObject& operator=(const TrackingObject&) = delete;

    /// Takes in what a later scene says of the object. The NoltObject must have a polygon.
    void update(const NoltObject& object);

    /// Takes in the size, age and filter data of an object that merges into this one, unless either
    /// is not mergeable; the previous position and foot box too when this object is not itself
    /// among the sources. Id, outline, position, lastSeen and velocity stay.
    void merge(const TrackingObject* source, bool isTargetAmongSources);
    /// The same for each entry that is not null and has another id.
    void merge(const std::vector<const TrackingObject*>& sources, bool isTargetAmongSources);

    /// Gives each destination of another id this object's history, unless either is not mergeable.
    void split(std::vector<TrackingObject*>& destinations) const;
    /// Takes the history of the object that this one split off from, unless either is not
    /// mergeable: the larger sizes, but its age and filter data in place of this object's.
    void splitFromSource(const TrackingObject* source);

    /// Takes the larger sizes, present and greatest.
    void combineSizeProperties(const TrackingObject* other);
    /// Merges the filter data key by key; what this object lacks it gets as a clone.
    void combineFilterData(const TrackingObject* other);

    /// Stores the data under the key and takes it over. An earlier entry is replaced and not
    /// destroyed: look with getData() first.
    void insertData(const std::string& key, TrackingObjectExternalData* data);
    /// The data under the key, borrowed, or null.
    TrackingObjectExternalData* getData(std::string_view key) const;

    /// Replaces the previous position and makes the previous foot box anew at it.
    void setPreviousPosition(const Point& position);

    /// An XML element "object" that holds the outline's extent in units of the frame.
    std::string toNoltStringXML() const;
    /// The outline's bounding box as an SVG polygon with the given style and no class.
    std::string toStringSvg(const std::string& style) const;

    std::int32_t id = -1;        ///< constant
    std::int64_t firstSeen = 0;  ///< never moves forward but by a split
    std::int64_t lastSeen = 0;
    std::int32_t maxWidth = 0;           ///< the greatest viewed width so far
    std::int32_t maxHeight = 0;          ///< the greatest viewed height so far
    Point position;                      ///< the outline's centroid
    Point previousPosition;              ///< one scene back
    Polygon* polygon = nullptr;          ///< owned; the outline of the latest scene
    Polygon* previousFootBox = nullptr;  ///< owned
    Polygon* currentFootBox = nullptr;   ///< owned
    bool confident = true;
    bool mergeable = true;       ///< asked before every merge and split; nothing here clears it
    std::int16_t velocityX = 0;  ///< scene units per second
    std::int16_t velocityY = 0;  ///< scene units per second
    TextMap<TrackingObjectExternalData*> externalData;  ///< owned values

private:
    void takeOutline(const Polygon& outline);
    void takeVelocity(const NoltObject& object);
    bool isOnItsSide() const;
    void growMaxima();
    void inheritFrom(const TrackingObject& source);
};
