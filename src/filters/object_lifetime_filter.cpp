#include "filters/object_lifetime_filter.h"

#include "tracking/tracking_object.h"

ObjectLifetimeFilter::ObjectLifetimeFilter(long microseconds, bool isActive)
    : minLifetime(microseconds), active(isActive) {}

bool ObjectLifetimeFilter::canObjectTriggerAlarm(TrackingObject& object) {
    return !active || object.lastSeen - object.firstSeen >= minLifetime;
}

ObjectLifetimeFilter* ObjectLifetimeFilter::clone() const {
    return new ObjectLifetimeFilter(*this);
}
