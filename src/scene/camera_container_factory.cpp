#include "scene/camera_container_factory.h"

#include <glib.h>

#include <utility>

#include "device/camera_info.h"
#include "scene/callback_camera_container.h"
#include "scene/scene_reader.h"
#include "scene/socket_camera_container.h"
#include "scene/video_scene_subscriber.h"

namespace {

/// Microseconds between looks for the source of scenes.
constexpr gulong retryDelay = 100000;

bool hasSubscriberModule() {
    return API_Version("2.15") <= CameraInfo::getSDK_Version();
}

/// False while the socket does not answer.
bool isSocketThere() {
    const int fd = SceneReader::connect(SceneReader::socketPath);
    if (fd == -1) {
        return false;
    }
    // Any other negative descriptor is logged, and meant to count as an answer.
    SceneReader::disconnect(fd);
    return true;
}

template <typename Source>
void waitFor(Source isThere) {
    while (!isThere()) {
        g_usleep(retryDelay);
    }
}

}  // namespace

CameraContainer* CameraContainerFactory::create(API_VersionHandler versions,
                                                unsigned capabilities) {
    if (hasSubscriberModule()) {
        waitFor(VideoSceneSubscriber::initialize);
        return new CallbackCameraContainer(std::move(versions), capabilities);
    }
    waitFor(isSocketThere);
    return new SocketCameraContainer(std::move(versions), capabilities);
}
