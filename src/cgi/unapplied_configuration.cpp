#include "cgi/unapplied_configuration.h"

#include <utility>

#include "guard/guard.h"
#include "scene/camera_container.h"

UnappliedConfiguration::UnappliedConfiguration(CameraConfigurationContainer created)
    : configuration(std::move(created)) {}

UnappliedConfiguration::~UnappliedConfiguration() {
    if (!ownsGuards) {
        return;
    }
    for (const CameraConfiguration& camera : configuration.getConfigurations()) {
        for (const Guard* guard : camera.getGuards()) {
            delete guard;
        }
    }
}

void UnappliedConfiguration::applyTo(CameraContainer& container) {
    ownsGuards = false;
    container.updateWithNewConfiguration(configuration);
}
