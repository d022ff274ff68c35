#pragma once

#include <vector>

#include "guard/alarm_data.h"

/// The verdicts of all guards of a camera on one scene. Look-ups by profile take the first entry
/// with that profile id.
class AlarmDataContainer {
public:
    using ObjectIterator = std::vector<AlarmData::ObjectStatus>::const_iterator;
    using PolygonIterator = std::vector<const Polygon*>::const_iterator;

    AlarmDataContainer() = default;
    ~AlarmDataContainer();
    AlarmDataContainer(const AlarmDataContainer&) = delete;
    AlarmDataContainer& operator=(const AlarmDataContainer&) = delete;

    /// Takes ownership; null is ignored.
    void insert(const AlarmData* alarmData);

    /// The number of object entries of a profile; 0 without such a profile.
    int size(int profileId) const;
    bool doesProfileExist(int profileId) const;

    /// The object entries of a profile; an empty range without such a profile.
    ObjectIterator begin(int profileId) const;
    ObjectIterator end(int profileId) const;

    /// The polygons to show of a profile; an empty range without such a profile.
    PolygonIterator beginPolygon(int profileId) const;
    PolygonIterator endPolygon(int profileId) const;

private:
    const AlarmData* find(int profileId) const;
    const std::vector<AlarmData::ObjectStatus>& objectsOf(int profileId) const;
    const std::vector<const Polygon*>& polygonsOf(int profileId) const;

    std::vector<const AlarmData*> alarmData;
};
