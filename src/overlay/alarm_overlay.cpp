#include "overlay/alarm_overlay.h"

bool AlarmOverlay::isEnabled() {
    return false;
}

void AlarmOverlay::setNewConfiguration(const AlarmOverlayConfigurationContainer&) {}

void AlarmOverlay::handleAlarmResult(const AlarmDataContainer&, const long&) {}
