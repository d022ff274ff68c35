#pragma once

#include <map>

#include "scene/camera_container.h"

class CallbackCamera;

/// The container of cameras that are fed by the subscriber module. All scenes run under the static
/// mutex: cameras' scenes are serialised, and applying a configuration excludes them.
///
/// A subscription that fails or is lost is tried again every 200000 microseconds on the timer's
/// thread.
///
/// The module ends a subscription only when none of its callbacks runs any more, and the callbacks
/// wait for the mutex. Nothing locks up, because a subscription ends in three places only:
///
/// - With its camera, under the camera's mutex. The camera is out of the list by then, and a
///   callback that finds it gone takes no lock of it: it frees the payload, or counts the loss.
///   That is why both callbacks look it up in the list under the mutex before they touch it.
/// - When a new one takes its place, under the mutex. A camera has an entry in the reconnect map
///   only while it has no subscription or one that has made its disconnect callback, the last it
///   makes; that has let go of the mutex and only has to return.
/// - When it could not be made, under the mutex: it has called nothing back.
class CallbackCameraContainer : public CameraContainer {
public:
    using CameraContainer::CameraContainer;

    /// Makes a new subscription for the camera in place of its present one; false if that fails.
    /// The caller holds the mutex.
    static bool subscribeToNoltData(CallbackCamera* camera);

    /// The module's callbacks, on threads of the module; `camera` is a CallbackCamera that may be
    /// out of the list by now. The payload passes to the callback.
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
