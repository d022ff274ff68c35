#pragma once

#include "filters/exclusion_filter.h"

/// Refuses what the tracking engine is not sure of.
class LowConfidentObjectFilter : public ExclusionFilter {
public:
    bool canObjectTriggerAlarm(TrackingObject& object) override;
    LowConfidentObjectFilter* clone() const override;
};
