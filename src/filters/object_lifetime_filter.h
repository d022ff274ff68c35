#pragma once

#include <cstdint>

#include "filters/exclusion_filter.h"

/// Refuses an object that is younger than a limit; one just as old passes.
class ObjectLifetimeFilter : public ExclusionFilter {
public:
    ObjectLifetimeFilter(long microseconds, bool active);

    bool canObjectTriggerAlarm(TrackingObject& object) override;
    ObjectLifetimeFilter* clone() const override;

private:
    std::int64_t minLifetime;  ///< constant, microseconds
    bool active;               ///< constant
};
