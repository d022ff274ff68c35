#include "scene/camera.h"

#include <algorithm>
#include <cstdint>

#include "device/camera_info.h"
#include "geometry/geometry.h"
#include "geometry/polygon.h"
#include "guard/guard.h"
#include "scene/camera_configuration.h"
#include "scene/nolt_scene.h"
#include "tracking/parsed_scene.h"
#include "tracking/tracking_object.h"

namespace {

/// Microseconds.
constexpr long motionLevelPeriod = 5000000;

}  // namespace

Camera::Camera(int camera, int rotation, API_VersionHandler versions, unsigned mask)
    : cameraId(camera),
      capabilities(mask),
      versionHandler(std::move(versions)),
      currentPreset(Guard::noPreset),
      motionLevelProducer(camera, motionLevelPeriod),
      parser(rotation, CameraInfo::getCameraAspectRatio(camera)) {
    g_rec_mutex_init(&mutex);
}

Camera::~Camera() {
    removeAllGuards();
    g_rec_mutex_clear(&mutex);
}

Guard* Camera::getGuard(int profile) const {
    const auto guard = std::ranges::find(guards, profile, &Guard::getProfileId);
    return guard == guards.end() ? nullptr : *guard;
}

void Camera::insertGuard(Guard* guard) {
    guards.push_back(guard);
}

void Camera::removeAllGuards() {
    for (Guard* guard : guards) {
        delete guard;
    }
    guards.clear();
}

bool Camera::sendAlarmEvent(int profile) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    Guard* guard = getGuard(profile);
    if (guard == nullptr) {
        return false;
    }
    guard->sendAlarmEvent();
    return true;
}

bool Camera::doesProfileExist(int profile) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    return getGuard(profile) != nullptr;
}

void Camera::handlePTZ_PresetEvent(const PTZ_PresetEvent& event) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    if (event.presetToken == -1) {
        return;
    }
    if (event.onPreset) {
        currentPreset = event.presetToken;
        for (Guard* guard : guards) {
            guard->handleArrivingAtPreset(event.presetToken, event.timestamp);
        }
    } else if (event.presetToken == currentPreset) {
        for (Guard* guard : guards) {
            guard->handleLeavingPreset(event.timestamp);
        }
        currentPreset = Guard::noPreset;
    }
}

void Camera::handlePTZ_MovementEvent(const PTZ_MovementEvent& event) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    for (Guard* guard : guards) {
        guard->handleMovementEvent(event.isMoving, event.timestamp);
    }
}

VC_Data Camera::getVC_Data() const {
    const auto guard = std::ranges::find_if(guards, &Guard::isVisualConfirmationAllowedToSend);
    if (guard == guards.end()) {
        return {};
    }
    return {(*guard)->getProfileId(), (*guard)->getSvgTransform()};
}

bool Camera::enableVisualConfirmation(int profile, const std::string& name) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    Guard* guard = getGuard(profile);
    return guard != nullptr && guard->enableVisualConfirmation(name);
}

void Camera::disableVisualConfirmation(int profile) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    if (Guard* guard = getGuard(profile)) {
        guard->disableVisualConfirmation();
    }
}

void Camera::disableVisualConfirmation() {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    for (Guard* guard : guards) {
        guard->disableVisualConfirmation();
    }
}

void Camera::startMotionLevel() {
    motionLevelActive = true;
    motionLevelProducer.start();
}

void Camera::stopMotionLevel() {
    motionLevelActive = false;
    motionLevelProducer.stop();
}

void Camera::handleMotionLevel(const ParsedScene& parsed, const NoltScene& scene) {
    if (!motionLevelActive) {
        return;
    }
    std::uint32_t total = 0;
    for (const TrackingObject* object : parsed.activeObjects) {
        total += static_cast<std::uint32_t>(object->polygon->getPolygonArea());
    }
    motionLevelProducer.sendEvent(static_cast<std::int32_t>(total), scene.timestamp);
}

void Camera::updateWithNewConfiguration(const CameraConfiguration& configuration) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    // Before the old guards go, so that the declaration of the frames' event outlives them.
    carryOverVisualConfirmation(configuration);
    removeAllGuards();
    parser.updateCameraRotation(configuration.getRotation());
    for (Guard* guard : configuration.getGuards()) {
        guard->handleStartupPreset(currentPreset);
        insertGuard(guard);
    }
    // Meant for every configuration, whatever it changes: all objects start anew.
    parser.getStorage().deleteAll();
}

void Camera::carryOverVisualConfirmation(const CameraConfiguration& configuration) {
    const VC_Data present = getVC_Data();
    if (present.profileId == -1) {
        return;
    }
    if (Guard* successor = configuration.getGuard(present.profileId)) {
        successor->enableVisualConfirmation(present.name);
    }
}

bool operator==(const CameraConfiguration& configuration, const Camera* camera) {
    return configuration == camera->getCameraId();
}

bool operator==(const Camera* camera, const CameraConfiguration& configuration) {
    return configuration == camera;
}

bool isNull(const Camera* camera) {
    return camera == nullptr;
}
