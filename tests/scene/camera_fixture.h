#pragma once

#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "scene/camera_configuration.h"
#include "scene/camera_configuration_container.h"
#include "scene/socket_camera.h"
#include "support/alarm_overlay_double.h"
#include "support/scene_stage.h"
#include "support/spy_guard.h"
#include "support/state_event_recorder.h"
#include "support/watched_device.h"

using namespace std::chrono_literals;

/// What tests of cameras share: a device, spy guards with one journal, and scenes.
class CameraFixture : public testing::Test {
protected:
    explicit CameraFixture(const WatchedDevice::Parameters& parameters = WatchedDevice::plain)
        : device(parameters) {
        AlarmOverlayDouble::reset({1, 2, 3, 4, 5, 6, 7, 8, 9});
    }

    static API_VersionHandler versions() {
        static const char* const texts[] = {"1.0", "1.1"};
        return {texts, 2};
    }

    SpyGuard* spy(int profile, int camera = 1) {
        return new SpyGuard(profile, camera, events, journal);
    }

    CameraConfiguration configurationOf(int camera, const std::vector<int>& profiles,
                                        int rotation = 0) {
        CameraConfiguration configuration(camera, rotation);
        for (const int profile : profiles) {
            configuration.insertGuard(spy(profile, camera));
        }
        return configuration;
    }

    /// The payload of the scene at that time, as the engine sends it.
    std::string payloadAt(SceneStage::Time time) {
        const ScenePayload payload = scene.payloadAt(time);
        return {payload.data(), payload.size()};
    }

    static void feed(SocketCamera& camera, ScenePayload payload) {
        char* block = payload.release();
        camera.handleNoltData(block);
        free(block);
    }
    void feed(SocketCamera& camera, SceneStage::Time time) { feed(camera, scene.payloadAt(time)); }

    WatchedDevice device;
    StateEventRecorder events;
    Journal journal;
    SceneStage scene;
};
