#include "engine/camera_worker.h"

#include <utility>

#include "engine/clock.h"
#include "engine/scene_server.h"

CameraWorker::CameraWorker(int camera, std::unique_ptr<Source> cameraSource,
                           std::optional<RecordingWriter> writer,
                           std::unique_ptr<PictureListener> pictures, Clock& time)
    : number(camera),
      source(std::move(cameraSource)),
      recorder(std::move(writer)),
      pictureListener(std::move(pictures)),
      clock(time),
      opened(source->isLive()) {}

CameraWorker::~CameraWorker() {
    join();
}

void CameraWorker::start(SceneServer& destination) {
    server = &destination;
    thread = std::thread(&CameraWorker::work, this);
}

void CameraWorker::open() {
    const std::lock_guard lock(mutex);
    opened = true;
    changed.notify_all();
}

void CameraWorker::join() {
    {
        const std::lock_guard lock(mutex);
        stopped = true;
        changed.notify_all();
    }
    if (thread.joinable()) {
        thread.join();
    }
}

void CameraWorker::work() {
    if (!waitForClient()) {
        return;
    }
    const std::int64_t begin = clock.now();
    if (recorder) {
        recorder->startAt(begin);
    }
    source->run(begin, *this);
}

bool CameraWorker::waitForClient() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return opened || stopped; });
    return !stopped;
}

void CameraWorker::onScene(const SceneRecord& scene) {
    server->publish(number, scene);
    if (recorder) {
        recorder->add(scene);
    }
}

void CameraWorker::onPicture(const Picture& picture) {
    if (pictureListener) {
        pictureListener->onPicture(picture);
    }
}
