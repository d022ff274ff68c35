#pragma once

#include "tracking/tracking_object_external_data.h"

/// Data that stays with its object: a merge brings nothing in.
class TrackingObjectExternalDataNoMerge : public TrackingObjectExternalData {
public:
    TrackingObjectExternalDataNoMerge* clone() const override;
    void merge(const TrackingObjectExternalData& other) override;
};
