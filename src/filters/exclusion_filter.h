#pragma once

class TrackingObject;

/// Says of a tracked object, per scene, whether it may raise an alarm yet, by the object's own
/// history. A filter keeps nothing between objects: what it remembers is on the object, under a key
/// that carries the profile's id. Owned by its guard and run under the guard's lock.
class ExclusionFilter {
public:
    virtual ~ExclusionFilter() = default;
    ExclusionFilter& operator=(const ExclusionFilter&) = delete;

    virtual bool canObjectTriggerAlarm(TrackingObject& object) = 0;
    /// A copy, transferred to the caller.
    virtual ExclusionFilter* clone() const = 0;
    /// Called for each object of each accepted scene, before the filters are asked.
    virtual void updateFilterData(TrackingObject& object);

protected:
    ExclusionFilter() = default;
    ExclusionFilter(const ExclusionFilter&) = default;
};
