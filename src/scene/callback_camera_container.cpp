#include "scene/callback_camera_container.h"

#include <syslog.h>

#include <cstdlib>
#include <utility>

#include "app/interval_timer_observable.h"
#include "config/idd.h"
#include "scene/callback_camera.h"
#include "scene/nolt_utils.h"
#include "scene/video_scene_subscriber.h"

bool CallbackCameraContainer::s_isRunning = true;
std::map<int, CallbackCamera*> CallbackCameraContainer::s_reconnectMap;

namespace {

/// Microseconds between attempts to subscribe again.
constexpr long reconnectInterval = 200000;

void enableCapabilities(video_scene_subscriber_st* subscriber, unsigned capabilities) {
    if ((capabilities & CapabilityBoundingBox) != 0) {
        VideoSceneSubscriber::setBoundingBoxEnabled(subscriber);
    }
    if ((capabilities & CapabilityPolygon) != 0) {
        VideoSceneSubscriber::setPolygonEnabled(subscriber);
    }
    if ((capabilities & CapabilityVelocity) != 0) {
        VideoSceneSubscriber::setVelocityEnabled(subscriber);
    }
    if ((capabilities & CapabilityLowConfident) != 0) {
        VideoSceneSubscriber::setLowConfidentEnabled(subscriber);
    }
}

}  // namespace

bool CallbackCameraContainer::subscribeToNoltData(CallbackCamera* camera) {
    video_scene_subscriber_st* subscriber =
        VideoSceneSubscriber::createSubscriber(camera->getCameraId(), SCENE_FORMAT_AREA, camera);
    if (subscriber == nullptr) {
        return false;
    }
    enableCapabilities(subscriber, camera->getCapabilities());
    VideoSceneSubscriber::setOnMessageArrivedCallback(subscriber, newNoltDataCallback);
    VideoSceneSubscriber::setOnDisconnectCallback(subscriber, disconnectCallback);
    const int result = VideoSceneSubscriber::subscribe(subscriber);
    if (result != 0) {
        syslog(LOG_WARNING, "Could not subscribe to scene data. Code: %d\n", result);
        VideoSceneSubscriber::deleteSubscriber(&subscriber);
        return false;
    }
    camera->setSubscriber(subscriber);
    return true;
}

void CallbackCameraContainer::newNoltDataCallback(char* payload, void* data) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    auto* camera = static_cast<CallbackCamera*>(data);
    if (s_isRunning && doesCameraExist(camera)) {
        camera->handleNoltData(payload);
    } else {
        free(payload);
    }
}

void CallbackCameraContainer::disconnectCallback(void* data) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    IDD::incrementNbrNoltDisconnects();
    auto* camera = static_cast<CallbackCamera*>(data);
    if (doesCameraExist(camera)) {
        registerReconnection(camera);
    }
}

void CallbackCameraContainer::registerReconnection(CallbackCamera* camera) {
    const int id = IntervalTimerObservable::registerObserver(reconnectCamera, reconnectInterval);
    s_reconnectMap[id] = camera;
}

void CallbackCameraContainer::reconnectCamera(int observerId) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    const auto entry = s_reconnectMap.find(observerId);
    if (entry == s_reconnectMap.end()) {
        IntervalTimerObservable::unregisterObserver(observerId);
        return;
    }
    // A camera that is there but cannot subscribe is tried again by the next notification.
    if (!doesCameraExist(entry->second) || subscribeToNoltData(entry->second)) {
        IntervalTimerObservable::unregisterObserver(observerId);
        s_reconnectMap.erase(entry);
    }
}

void CallbackCameraContainer::removeOngoingReconnections(const Camera* camera) {
    std::erase_if(s_reconnectMap, [&](const auto& entry) {
        if (entry.second != camera) {
            return false;
        }
        IntervalTimerObservable::unregisterObserver(entry.first);
        return true;
    });
}

std::vector<Camera*> CallbackCameraContainer::removeUnusedCameras(
    const CameraConfigurationContainer& configuration) {
    std::vector<Camera*> removed = CameraContainer::removeUnusedCameras(configuration);
    for (const Camera* camera : removed) {
        removeOngoingReconnections(camera);
    }
    return removed;
}

Camera* CallbackCameraContainer::createCamera(int camera, int rotation, API_VersionHandler versions,
                                              int newCapabilities) {
    auto* callbackCamera = new CallbackCamera(camera, rotation, std::move(versions),
                                              static_cast<unsigned>(newCapabilities));
    if (!subscribeToNoltData(callbackCamera)) {
        registerReconnection(callbackCamera);
    }
    return callbackCamera;
}

void CallbackCameraContainer::shutDownSub() {
    s_isRunning = false;
    for (const auto& [observerId, camera] : s_reconnectMap) {
        IntervalTimerObservable::unregisterObserver(observerId);
    }
    s_reconnectMap.clear();
}
