#include "filters/low_confident_object_filter.h"

#include "tracking/tracking_object.h"

bool LowConfidentObjectFilter::canObjectTriggerAlarm(TrackingObject& object) {
    return object.confident;
}

LowConfidentObjectFilter* LowConfidentObjectFilter::clone() const {
    return new LowConfidentObjectFilter();
}
