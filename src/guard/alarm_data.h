#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

class Polygon;
class TrackingObject;

/// The verdict on one object of a scene.
enum AlarmDataStatus_e : std::int32_t {
    /// The object triggers the alarm.
    AlarmDataStatusAlarm = 0,
    /// Nothing to report: outside the area or excluded, and no alarm pending.
    AlarmDataStatusNotOfInterest = 1,
    /// An exclusion filter holds the object back.
    AlarmDataStatusFiltered = 2,
};

/// What one guard says about one scene. It points at objects and polygons it does not own: the
/// objects live as long as the ParsedScene, the polygons for ever.
class AlarmData {
public:
    using ObjectStatus = std::pair<TrackingObject*, AlarmDataStatus_e>;

    explicit AlarmData(int profileId);

    /// Makes room for the verdicts on `count` objects.
    void reserve(std::size_t count);

    /// Appends the verdict on an object (borrowed).
    void addObjectStatus(TrackingObject* object, AlarmDataStatus_e status);

    /// Appends a polygon to show (borrowed); null is ignored.
    void addPolygonToDisplay(const Polygon* polygon);

    /// Whether the object with that id has the verdict "alarm". An unknown id is logged and false.
    bool didTriggerAlarm(int objectId) const;

    /// In the order of the scene's active objects; borrowed.
    std::vector<ObjectStatus> objects;
    /// Whether some object triggers the alarm in this scene.
    bool alarm = false;
    std::int32_t profileId;
    /// Extra polygons to show; borrowed.
    std::vector<const Polygon*> polygons;
};
