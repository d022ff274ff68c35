#include "scene/camera_configuration.h"

#include <algorithm>

#include "guard/guard.h"

CameraConfiguration::CameraConfiguration(int cameraId, int cameraRotation)
    : id(cameraId), rotation(cameraRotation) {}

void CameraConfiguration::insertGuard(Guard* guard) {
    if (guard != nullptr) {
        guards.push_back(guard);
    }
}

Guard* CameraConfiguration::getGuard(int uid) const {
    const auto guard = std::ranges::find(guards, uid, &Guard::getProfileId);
    return guard == guards.end() ? nullptr : *guard;
}

bool CameraConfiguration::operator==(const CameraConfiguration& other) const {
    return id == other.id && rotation == other.rotation;
}

bool CameraConfiguration::operator==(int cameraId) const {
    return id == cameraId;
}
