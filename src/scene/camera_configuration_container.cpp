#include "scene/camera_configuration_container.h"

#include <syslog.h>

#include <algorithm>

CameraConfigurationContainer::CameraConfigurationContainer(
    const AlarmOverlayConfigurationContainer& alarmOverlay)
    : overlay(alarmOverlay) {}

void CameraConfigurationContainer::insert(const CameraConfiguration& configuration) {
    if (std::ranges::find(configurations, configuration) != configurations.end()) {
        syslog(LOG_WARNING,
               "Cannot insert duplicate configs in a CameraConfigurationContainer, camera nbr = %i "
               "camera rotation = %i\n",
               configuration.getId(), configuration.getRotation());
        return;
    }
    configurations.push_back(configuration);
}

CameraConfiguration* CameraConfigurationContainer::getConfiguration(int id) {
    const auto entry = std::ranges::find(configurations, id, &CameraConfiguration::getId);
    return entry == configurations.end() ? nullptr : &*entry;
}

const CameraConfiguration* CameraConfigurationContainer::getConfiguration(int id) const {
    const auto entry = std::ranges::find(configurations, id, &CameraConfiguration::getId);
    return entry == configurations.end() ? nullptr : &*entry;
}
