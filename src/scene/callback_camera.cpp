#include "scene/callback_camera.h"

#include <cstdlib>
#include <utility>

#include "guard/alarm_data_container.h"
#include "guard/guard.h"
#include "overlay/alarm_overlay.h"
#include "scene/nolt_scene.h"
#include "scene/video_scene_subscriber.h"
#include "tracking/parsed_scene.h"

CallbackCamera::CallbackCamera(int camera, int rotation, API_VersionHandler versions, unsigned mask)
    : Camera(camera, rotation, std::move(versions), mask) {
    g_mutex_init(&unusedMutex);
}

CallbackCamera::~CallbackCamera() {
    endSubscription();
    g_mutex_clear(&unusedMutex);
}

void CallbackCamera::stop() {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    acceptingData = false;
    endSubscription();
}

void CallbackCamera::handleNoltData(char* payload) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    if (payload == nullptr) {
        return;
    }
    if (acceptingData) {
        processScene(payload);
    }
    free(payload);
}

void CallbackCamera::setSubscriber(video_scene_subscriber_st* newSubscriber) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    if (subscriber != nullptr) {
        VideoSceneSubscriber::deleteSubscriber(&subscriber);
    }
    subscriber = newSubscriber;
    parser.getStorage().deleteAll();
}

void CallbackCamera::endSubscription() {
    if (subscriber != nullptr) {
        VideoSceneSubscriber::unsubscribe(subscriber);
        VideoSceneSubscriber::deleteSubscriber(&subscriber);
    }
}

void CallbackCamera::processScene(const char* payload) {
    const NoltScene scene(payload, static_cast<int>(capabilities));
    ParsedScene parsed = parser.parse(scene);
    AlarmDataContainer alarms;
    for (Guard* guard : guards) {
        alarms.insert(guard->checkObjects(parsed));
    }
    AlarmOverlay::handleAlarmResult(alarms, scene.timestamp);
    handleMotionLevel(parsed, scene);
}
