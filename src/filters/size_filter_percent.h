#pragma once

#include <cstdint>

#include "filters/exclusion_filter.h"

/// Refuses an object that has been small in both directions for its whole life so far. An object
/// just at a limit is small.
class SizeFilterPercent : public ExclusionFilter {
public:
    /// Limits in percent of the view.
    SizeFilterPercent(int widthPercent, int heightPercent, bool active);

    bool canObjectTriggerAlarm(TrackingObject& object) override;
    SizeFilterPercent* clone() const override;

private:
    std::int32_t minWidth;   ///< constant, scene units
    std::int32_t minHeight;  ///< constant, scene units
    bool active;             ///< constant
};
