#include "tracking/tracking_object_external_data_no_merge.h"

TrackingObjectExternalDataNoMerge* TrackingObjectExternalDataNoMerge::clone() const {
    return new TrackingObjectExternalDataNoMerge(*this);
}

void TrackingObjectExternalDataNoMerge::merge(const TrackingObjectExternalData&) {}
