#include "support/alarm_overlay_double.h"

#include <mutex>

#include "guard/alarm_data_container.h"
#include "overlay/alarm_overlay.h"
#include "overlay/alarm_overlay_configuration_container.h"

namespace {

std::mutex mutex;
std::vector<std::string> written;
std::vector<int> watched;

}  // namespace

void AlarmOverlayDouble::reset(const std::vector<int>& watchedProfiles) {
    const std::lock_guard lock(mutex);
    written.clear();
    watched = watchedProfiles;
}

std::vector<std::string> AlarmOverlayDouble::lines() {
    const std::lock_guard lock(mutex);
    return written;
}

bool AlarmOverlay::isEnabled() {
    return false;
}

void AlarmOverlay::setNewConfiguration(const AlarmOverlayConfigurationContainer& configuration) {
    std::string line = "profiles";
    for (const int profile : configuration.profileIds) {
        line += " " + std::to_string(profile);
    }
    const std::lock_guard lock(mutex);
    written.push_back(line);
}

void AlarmOverlay::handleAlarmResult(const AlarmDataContainer& alarms, const long& time) {
    const std::lock_guard lock(mutex);
    std::string line = "scene " + std::to_string(time) + " profiles";
    for (const int profile : watched) {
        if (alarms.doesProfileExist(profile)) {
            line += " " + std::to_string(profile) + ":" + std::to_string(alarms.size(profile));
        }
    }
    written.push_back(line);
}
