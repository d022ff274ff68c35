#include "events/motion_level_event_producer.h"

#include <glib.h>
#include <syslog.h>

#include <algorithm>

#include "app/convert.h"
#include "events/sdk_wrapper.h"

namespace {

/// One over the picture's area in square scene units, 8192 by 8192.
constexpr double kPerPicture = 1.0 / (8192.0 * 8192.0);

double toPercent(int area) {
    const double ratio = area * kPerPicture;
    return ratio <= 1.0 ? ratio * 100.0 : 100.0;
}

}  // namespace

MotionLevelEventProducer::MotionLevelEventProducer(int cameraId, long periodLength)
    : eventName("Camera" + std::to_string(cameraId) + "MotionLevel"), period(periodLength) {}

MotionLevelEventProducer::~MotionLevelEventProducer() {
    if (declared && sdk_wrapper_event_remove(eventName.c_str()) == 0) {
        syslog(LOG_WARNING, "sdk_wrapper_event_remove failed when removing motion level event.\n");
    }
}

void MotionLevelEventProducer::sendEvent(int area, const long& time) {
    if (!active || !(declared || declare())) {
        return;
    }
    maxArea = std::max(maxArea, area);
    const long now = g_get_monotonic_time();
    if (!hasPeriodStart || now - periodStart <= period) {
        return;
    }
    if (!sendLevel(time)) {
        syslog(LOG_WARNING, "FAILED to send motion level event\n");
        return;
    }
    maxArea = -1;
    periodStart = now;
}

bool MotionLevelEventProducer::declare() {
    const long now = g_get_monotonic_time();
    if (!hasPeriodStart) {
        hasPeriodStart = true;
        periodStart = now;
    }
    const char* name = eventName.c_str();
    declared = sdk_wrapper_event_add(name, name, name,
                                     SdkWrapperEventQuiet | SdkWrapperEventApplicationData,
                                     "motionlevel") != 0;
    if (!declared) {
        syslog(LOG_WARNING, "FAILED to create event %s \n", name);
    }
    return declared;
}

bool MotionLevelEventProducer::sendLevel(const long& time) {
    const std::string level = Convert::doubleToString(toPercent(maxArea), 4);
    return sdk_wrapper_event_send(eventName.c_str(), 0, level.c_str(), &time) != 0;
}
