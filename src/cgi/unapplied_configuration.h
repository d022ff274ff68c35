#pragma once

#include "scene/camera_configuration_container.h"

class CameraContainer;

/// A configuration on its way to the cameras. Owns the guards of it until they are handed over, so
/// that one that is given up takes its guards along, and with them what they declared.
class UnappliedConfiguration {
public:
    /// Takes the guards over.
    explicit UnappliedConfiguration(CameraConfigurationContainer configuration);
    ~UnappliedConfiguration();
    UnappliedConfiguration(const UnappliedConfiguration&) = delete;
    UnappliedConfiguration& operator=(const UnappliedConfiguration&) = delete;

    /// Makes it the running one and hands the guards over; to be called once at most.
    void applyTo(CameraContainer& container);

private:
    CameraConfigurationContainer configuration;
    bool ownsGuards = true;
};
