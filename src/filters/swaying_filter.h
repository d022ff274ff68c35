#pragma once

#include <cstdint>
#include <string>

#include "filters/exclusion_filter.h"

class TrackingObjectExternalData;

/// Refuses an object until it has travelled more than a distance from its origin. One that comes
/// back near its origin, as a branch does, starts anew from there; one that has passed stays
/// passed.
class SwayingFilter : public ExclusionFilter {
public:
    /// The distance in percent of the view.
    SwayingFilter(int percent, int profileId, bool active);

    bool canObjectTriggerAlarm(TrackingObject& object) override;
    SwayingFilter* clone() const override;
    void updateFilterData(TrackingObject& object) override;

    /// The filter's data on the object, made at the first look. Owned by the object.
    TrackingObjectExternalData* getData(TrackingObject& object) const;

private:
    bool active;                   ///< constant
    std::string filterDataKey;     ///< constant
    std::int32_t squaredDistance;  ///< constant, squared scene units
};
