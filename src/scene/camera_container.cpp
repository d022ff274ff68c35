#include "scene/camera_container.h"

#include <syslog.h>

#include <algorithm>
#include <utility>

#include "app/utils.h"
#include "device/camera_info.h"
#include "overlay/alarm_overlay.h"
#include "scene/camera.h"
#include "scene/camera_configuration.h"
#include "scene/camera_configuration_container.h"
#include "scene/ptz_subscription.h"
#include "zqevent/zqevent.h"

G_DEFINE_AUTOPTR_CLEANUP_FUNC(ZQEvent, zq_event_free)

namespace {

bool readBoolean(const ZQEvent* event, const char* key, bool& value) {
    g_autoptr(GError) error = nullptr;
    gboolean read = FALSE;
    if (!zq_event_key_value_set_get_boolean(zq_event_get_key_value_set(event), key, nullptr, &read,
                                            &error)) {
        syslog(LOG_ERR, "Failed to unpack '%s' in a PTZ event, message: %s\n", key, error->message);
        return false;
    }
    value = read != FALSE;
    return true;
}

bool readInteger(const ZQEvent* event, const char* key, std::int32_t& value) {
    g_autoptr(GError) error = nullptr;
    if (!zq_event_key_value_set_get_integer(zq_event_get_key_value_set(event), key, nullptr, &value,
                                            &error)) {
        syslog(LOG_ERR, "Failed to unpack '%s' in a PTZ event, message: %s\n", key, error->message);
        return false;
    }
    return true;
}

std::int64_t readTime(const ZQEvent* event) {
    return utils::convertUTC_ToMonotonicTime(zq_event_get_time_stamp(event));
}

}  // namespace

std::vector<Camera*> CameraContainer::s_cameras;
GMutex CameraContainer::s_mutex;
bool CameraContainer::s_canReceivePTZ_Callbacks = false;

CameraContainer::CameraContainer(API_VersionHandler versions, unsigned mask)
    : versionHandler(std::move(versions)), capabilities(mask) {}

CameraContainer::~CameraContainer() {
    removeAllCameras();
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    destroySubscriptions();
}

void CameraContainer::updateWithNewConfiguration(
    const CameraConfigurationContainer& configuration) {
    // Outside the lock, because a join takes as long as the next frame takes to arrive.
    stopAndDelete(applyToCameras(configuration));
    AlarmOverlay::setNewConfiguration(configuration.getAlarmOverlayConfiguration());
}

std::vector<Camera*> CameraContainer::applyToCameras(
    const CameraConfigurationContainer& configuration) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    for (const CameraConfiguration& entry : configuration.getConfigurations()) {
        applyToCamera(entry);
    }
    std::vector<Camera*> removed = removeUnusedCameras(configuration);
    if (!s_canReceivePTZ_Callbacks && CameraInfo::isMechanicalPTZ()) {
        subscribeToPTZ();
    }
    return removed;
}

void CameraContainer::applyToCamera(const CameraConfiguration& configuration) {
    Camera* camera = getCamera(configuration);
    if (camera == nullptr) {
        camera = createCamera(configuration.getId(), configuration.getRotation(), versionHandler,
                              static_cast<int>(capabilities));
        if (camera == nullptr) {
            return;
        }
        insertCamera(camera);
    }
    if (isAnyMotionLevelActive()) {
        camera->startMotionLevel();
    }
    camera->updateWithNewConfiguration(configuration);
}

Camera* CameraContainer::getCamera(const CameraConfiguration& configuration) const {
    const auto camera = std::ranges::find_if(
        s_cameras, [&](const Camera* candidate) { return candidate == configuration; });
    return camera == s_cameras.end() ? nullptr : *camera;
}

bool CameraContainer::doesCameraExist(const Camera* camera) {
    return std::ranges::find(s_cameras, camera) != s_cameras.end();
}

void CameraContainer::insertCamera(Camera* camera) {
    s_cameras.push_back(camera);
}

bool CameraContainer::hasCameras() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    return !s_cameras.empty();
}

bool CameraContainer::doesProfileExist(int profile) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    return std::ranges::any_of(s_cameras,
                               [&](Camera* camera) { return camera->doesProfileExist(profile); });
}

bool CameraContainer::sendAlarmEvent(int profile) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    return std::ranges::any_of(s_cameras,
                               [&](Camera* camera) { return camera->sendAlarmEvent(profile); });
}

void CameraContainer::startMotionLevel() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    std::ranges::for_each(s_cameras, &Camera::startMotionLevel);
}

void CameraContainer::stopMotionLevel() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    std::ranges::for_each(s_cameras, &Camera::stopMotionLevel);
}

bool CameraContainer::isMotionLevelActive() const {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    return isAnyMotionLevelActive();
}

bool CameraContainer::isAnyMotionLevelActive() {
    return std::ranges::any_of(s_cameras, &Camera::isMotionLevelActive);
}

bool CameraContainer::enableVisualConfirmation(int profile, const std::string& name) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    // Only the first camera with the profile is asked, even when its event cannot be declared.
    const auto camera = std::ranges::find_if(
        s_cameras, [&](Camera* candidate) { return candidate->doesProfileExist(profile); });
    if (camera == s_cameras.end() || !(*camera)->enableVisualConfirmation(profile, name)) {
        return false;
    }
    if (visualConfProfile != profile) {
        disableVisualConfirmationOnAll(visualConfProfile);
        visualConfProfile = profile;
    }
    return true;
}

void CameraContainer::disableVisualConfirmation(int profile) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    visualConfProfile = -1;
    disableVisualConfirmationOnAll(profile);
}

void CameraContainer::disableVisualConfirmationOnAll(int profile) {
    for (Camera* camera : s_cameras) {
        camera->disableVisualConfirmation(profile);
    }
}

void CameraContainer::disableVisualConfirmation() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    visualConfProfile = -1;
    for (Camera* camera : s_cameras) {
        camera->disableVisualConfirmation();
    }
}

int CameraContainer::getVisualConfIdNbr() const {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    for (const Camera* camera : s_cameras) {
        const int profile = camera->getVC_Data().profileId;
        if (profile != -1) {
            return profile;
        }
    }
    return -1;
}

bool CameraContainer::isVisualConfEnabled() const {
    return getVisualConfIdNbr() != -1;
}

void CameraContainer::handlePTZ_PresetEvent(const PTZ_PresetEvent& event) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    forwardToCameras(event);
}

void CameraContainer::handlePTZ_MovementEvent(const PTZ_MovementEvent& event) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    forwardToCameras(event);
}

void CameraContainer::forwardToCameras(const PTZ_PresetEvent& event) {
    for (Camera* camera : s_cameras) {
        camera->handlePTZ_PresetEvent(event);
    }
}

void CameraContainer::forwardToCameras(const PTZ_MovementEvent& event) {
    for (Camera* camera : s_cameras) {
        camera->handlePTZ_MovementEvent(event);
    }
}

void CameraContainer::PTZ_PresetCallback(unsigned, _ZQEvent* event, void*) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    // Meant, unlike in the movement callback: an event that comes while the flag is clear is not
    // freed.
    if (!s_canReceivePTZ_Callbacks) {
        return;
    }
    g_autoptr(ZQEvent) owned = event;
    PTZ_PresetEvent preset{false, -1, 0};
    if (readBoolean(event, "on_preset", preset.onPreset) &&
        readInteger(event, "PresetToken", preset.presetToken)) {
        preset.timestamp = readTime(event);
        forwardToCameras(preset);
    }
}

void CameraContainer::PTZ_MovementCallback(unsigned, _ZQEvent* event, void*) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    g_autoptr(ZQEvent) owned = event;
    if (!s_canReceivePTZ_Callbacks) {
        return;
    }
    PTZ_MovementEvent movement{false, 0};
    if (readBoolean(event, "is_moving", movement.isMoving)) {
        movement.timestamp = readTime(event);
        forwardToCameras(movement);
    }
}

void CameraContainer::removeAllCameras() {
    stopAndDelete(takeAllCameras());
}

std::vector<Camera*> CameraContainer::takeAllCameras() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    return std::exchange(s_cameras, {});
}

void CameraContainer::shutDown() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    shutDownPTZ();
    shutDownSub();
}

void CameraContainer::shutDownPTZ() {
    s_canReceivePTZ_Callbacks = false;
    destroySubscriptions();
}

std::vector<Camera*> CameraContainer::removeUnusedCameras(
    const CameraConfigurationContainer& configuration) {
    std::vector<Camera*> removed;
    for (Camera*& camera : s_cameras) {
        if (configuration.getConfiguration(camera->getCameraId()) == nullptr) {
            removed.push_back(std::exchange(camera, nullptr));
        }
    }
    std::erase_if(s_cameras, isNull);
    return removed;
}

void CameraContainer::stopAndDelete(const std::vector<Camera*>& cameras) {
    for (Camera* camera : cameras) {
        camera->stop();
        camera->join();
        delete camera;
    }
}

void CameraContainer::subscribeToPTZ() {
    shutDownPTZ();
    s_canReceivePTZ_Callbacks = true;
    presetSubscription =
        new PTZ_Subscription("PTZController", "PTZPresets", PTZ_PresetCallback, this);
    movementSubscription =
        new PTZ_Subscription("PTZController", "Move", PTZ_MovementCallback, this);
}

void CameraContainer::destroySubscriptions() {
    delete std::exchange(presetSubscription, nullptr);
    delete std::exchange(movementSubscription, nullptr);
}
