#include "scene/socket_camera_container.h"

#include <utility>

#include "scene/socket_camera.h"

Camera* SocketCameraContainer::createCamera(int camera, int rotation, API_VersionHandler versions,
                                            int newCapabilities) {
    auto* socketCamera = new SocketCamera(camera, rotation, std::move(versions),
                                          static_cast<unsigned>(newCapabilities));
    // It connects while its configuration is still being applied; its mutex keeps the two apart.
    socketCamera->start(SocketCamera::run, socketCamera);
    return socketCamera;
}

void SocketCameraContainer::stopAllCameras() {
    for (Camera* camera : s_cameras) {
        camera->stop();
    }
}

void SocketCameraContainer::joinAllCameras() {
    for (Camera* camera : s_cameras) {
        camera->join();
    }
}

void SocketCameraContainer::shutDownSub() {
    // Two passes, so that the threads end side by side.
    stopAllCameras();
    joinAllCameras();
}
