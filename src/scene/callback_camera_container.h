#pragma once

#include <map>

#include "scene/camera_container.h"

class CallbackCamera;

/// The container of cameras that are fed by the subscriber module. All scenes run under the static
/// mutex: cameras' scenes are serialised, and applying a configuration excludes them.
///
/// A subscription that fails or is lost is tried again every 200000 microseconds on the timer's
/// thread.
class CallbackCameraContainer : public CameraContainer {
public:
    using CameraContainer::CameraContainer;

    /// Makes a new subscription for the camera in place of its present one; false if that fails.
    /// The caller holds the mutex.
    static bool subscribeToNoltData(CallbackCamera* camera);

    /// The module's callbacks, on threads of the module; `camera` is a CallbackCamera that may be
    /// gone by now. The payload passes to the callback.
    static void newNoltDataCallback(char* payload, void* camera);
    static void disconnectCallback(void* camera);

    /// One attempt to subscribe again, on the timer's thread.
    static void reconnectCamera(int observerId);

    /// Ends the attempts for a camera. The caller holds the mutex.
    static void removeOngoingReconnections(const Camera* camera);

protected:
    std::vector<Camera*> removeUnusedCameras(
        const CameraConfigurationContainer& configuration) override;
    Camera* createCamera(int camera, int rotation, API_VersionHandler versions,
                         int newCapabilities) override;
    void shutDownSub() override;

    /// Cleared once, at shutdown; guarded by the mutex.
    static bool s_isRunning;
    /// From the id of a timer's observer to the camera it reconnects; guarded by the mutex.
    static std::map<int, CallbackCamera*> s_reconnectMap;

private:
    static void registerReconnection(CallbackCamera* camera);
};
