#pragma once

#include <cstdint>
#include <string>

#include "filters/exclusion_filter.h"
#include "filters/perspective.h"

class TrackingObjectExternalData;

/// As SizeFilterPercent, in the real-world units of the perspective bars. With bars that give no
/// perspective (all at one place) it leaves every object alone.
class SizeFilterPerspective : public ExclusionFilter {
public:
    /// Limits in real-world units.
    SizeFilterPerspective(int profileId, int minWidth, int minHeight,
                          const Perspective& perspective, bool active);

    bool canObjectTriggerAlarm(TrackingObject& object) override;
    SizeFilterPerspective* clone() const override;
    /// Keeps the object's greatest real-world size, also while the filter is inactive.
    void updateFilterData(TrackingObject& object) override;

    /// The filter's data on the object, made at the first look. Owned by the object.
    TrackingObjectExternalData* getData(TrackingObject& object) const;

private:
    std::string filterDataKey;  ///< constant
    std::int32_t minWidth;      ///< constant
    std::int32_t minHeight;     ///< constant
    Perspective perspective;    ///< constant
    bool active;                ///< constant
};
