#include "scene/socket_camera.h"

#include <syslog.h>

#include <cstdlib>
#include <utility>

#include "guard/guard.h"
#include "scene/nolt_scene.h"
#include "scene/nolt_utils.h"
#include "scene/scene_reader.h"
#include "tracking/parsed_scene.h"

namespace {

/// Microseconds between attempts to get a lost stream back.
constexpr gulong reconnectDelay = 200000;

}  // namespace

SocketCamera::SocketCamera(int camera, int rotation, API_VersionHandler versions, unsigned mask)
    : Camera(camera, rotation, std::move(versions), mask) {}

SocketCamera::~SocketCamera() {
    if (fd != -1) {
        SceneReader::disconnect(fd);
    }
}

void* SocketCamera::run(void* data) {
    auto* camera = static_cast<SocketCamera*>(data);
    // A first connect that fails is meant to end the thread for good and to leave the descriptor of
    // the attempt open.
    if (camera->connect()) {
        camera->streamScenes();
        SceneReader::disconnect(camera->fd);
    }
    camera->fd = -1;
    camera->stop();
    return nullptr;
}

void SocketCamera::handleNoltData(char* payload) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    const NoltScene scene(payload, static_cast<int>(capabilities));
    ParsedScene parsed = parser.parse(scene);
    for (Guard* guard : guards) {
        delete guard->checkObjects(parsed);
    }
    handleMotionLevel(parsed, scene);
    // The scene goes after the lock.
    g_clear_pointer(&locker, g_rec_mutex_locker_free);
}

bool SocketCamera::connect() {
    fd = SceneReader::connect(SceneReader::socketPath);
    API_Version requested = versionHandler.getHighestSupportedVersion();
    if (!negotiate(requested)) {
        return false;
    }
    capabilities &= NoltUtils::getSupportedCapabilities(requested);
    currentVersion = requested;
    return true;
}

bool SocketCamera::negotiate(API_Version& requested) {
    SceneReaderResult result = handshake(requested);
    if (result.success) {
        return true;
    }
    for (const API_Version& version : versionHandler.getSupportedVersions(result.version)) {
        SceneReader::disconnect(fd);
        fd = SceneReader::connect(SceneReader::socketPath);
        result = handshake(version);
        if (result.success) {
            requested = version;
            return true;
        }
    }
    syslog(LOG_ERR,
           "Could not initialize the object data stream to camera %i, requred version %s supported "
           "versions %s\n",
           cameraId, result.version.text.c_str(), versionHandler.toString().c_str());
    return false;
}

SceneReaderResult SocketCamera::handshake(const API_Version& version) const {
    return SceneReader::initialize(fd, static_cast<int>(capabilities), cameraId, version);
}

void SocketCamera::reconnect() {
    SceneReader::disconnect(fd);
    g_usleep(reconnectDelay);
    fd = SceneReader::connect(SceneReader::socketPath);
    handshake(currentVersion);
}

void SocketCamera::streamScenes() {
    while (running) {
        char* payload = nullptr;
        if (SceneReader::readScene(fd, &payload)) {
            handleNoltData(payload);
            free(payload);
        } else {
            handleLostStream();
        }
    }
}

void SocketCamera::handleLostStream() {
    syslog(LOG_WARNING, "Could not read scene.\n");
    forgetObjects();
    reconnect();
}

void SocketCamera::forgetObjects() {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    parser.getStorage().deleteAll();
}
