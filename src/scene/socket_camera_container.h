#pragma once

#include "scene/camera_container.h"

/// The container of cameras that read the scene socket, each on a thread of its own.
class SocketCameraContainer : public CameraContainer {
public:
    using CameraContainer::CameraContainer;

    /// Asks all cameras to stop; does not wait. Takes no lock: the caller holds the mutex.
    void stopAllCameras();
    /// Waits for the threads of all cameras. Takes no lock: the caller holds the mutex.
    void joinAllCameras();

protected:
    Camera* createCamera(int camera, int rotation, API_VersionHandler versions,
                         int newCapabilities) override;
    void shutDownSub() override;
};
