#include "guard/alarm_data.h"

#include <syslog.h>

#include <algorithm>

#include "tracking/tracking_object.h"

AlarmData::AlarmData(int profile) : profileId(profile) {}

void AlarmData::reserve(std::size_t count) {
    objects.reserve(count);
}

void AlarmData::addObjectStatus(TrackingObject* object, AlarmDataStatus_e status) {
    objects.emplace_back(object, status);
}

void AlarmData::addPolygonToDisplay(const Polygon* polygon) {
    if (polygon != nullptr) {
        polygons.push_back(polygon);
    }
}

bool AlarmData::didTriggerAlarm(int objectId) const {
    const auto entry = std::ranges::find_if(
        objects, [&](const ObjectStatus& status) { return status.first->id == objectId; });
    if (entry == objects.end()) {
        syslog(LOG_ERR, "AlarmData::didTriggerAlarm - Could not find an object with id %i\n",
               objectId);
        return false;
    }
    return entry->second == AlarmDataStatusAlarm;
}
