#pragma once

#include "tracking/tracking_object_external_data.h"

/// The greatest real-world size of an object so far; a merge keeps the greater of each.
class PerspectiveFilterExternalData : public TrackingObjectExternalData {
public:
    static constexpr const char* maxRealWorldHeight = "maxRealWorldHeight";  ///< int
    static constexpr const char* maxRealWorldWidth = "maxRealWorldWidth";    ///< int

    PerspectiveFilterExternalData* clone() const override;
    void merge(const TrackingObjectExternalData& other) override;
};
