#pragma once

#include <vector>

#include "overlay/alarm_overlay_configuration_container.h"
#include "scene/camera_configuration.h"

/// A parsed configuration that is not yet applied: one CameraConfiguration for each camera that is
/// to run, and what the alarm overlay needs.
class CameraConfigurationContainer {
public:
    CameraConfigurationContainer() = default;
    explicit CameraConfigurationContainer(const AlarmOverlayConfigurationContainer& overlay);

    /// Appends a copy. A second entry with the same id and rotation is logged and refused.
    void insert(const CameraConfiguration& configuration);

    /// The first entry for that camera, or null; owned by the container.
    CameraConfiguration* getConfiguration(int id);
    const CameraConfiguration* getConfiguration(int id) const;

    /// In the order of insertion.
    const std::vector<CameraConfiguration>& getConfigurations() const { return configurations; }
    const AlarmOverlayConfigurationContainer& getAlarmOverlayConfiguration() const {
        return overlay;
    }

private:
    std::vector<CameraConfiguration> configurations;
    AlarmOverlayConfigurationContainer overlay;
};
