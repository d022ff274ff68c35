#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "engine/recording_writer.h"
#include "engine/source.h"

class Clock;
class SceneServer;

/// Plays one camera's source on a thread of its own, into the server and, if wished, into a
/// recording and to one who takes the pictures.
///
///     Waiting --open(), or at once if the source is live--> Playing --stop signal--> (joined)
class CameraWorker : private SourceListener {
public:
    /// `time` is borrowed. `camera` counts from 1. `pictures` may be null.
    CameraWorker(int camera, std::unique_ptr<Source> source, std::optional<RecordingWriter> writer,
                 std::unique_ptr<PictureListener> pictures, Clock& time);
    /// As join().
    ~CameraWorker() override;
    CameraWorker(const CameraWorker&) = delete;
    CameraWorker& operator=(const CameraWorker&) = delete;

    /// Starts the thread. `destination` is borrowed and must outlive the worker.
    void start(SceneServer& destination);
    /// Somebody has opened the stream. From any thread, any number of times, also before start().
    void open();
    /// Ends the thread. The clock must have been stopped.
    void join();

private:
    void onScene(const SceneRecord& scene) override;
    void onPicture(const Picture& picture) override;
    void work();
    bool waitForClient();

    const int number;
    const std::unique_ptr<Source> source;
    std::optional<RecordingWriter> recorder;                 // the thread's
    const std::unique_ptr<PictureListener> pictureListener;  // null for none
    Clock& clock;
    SceneServer* server = nullptr;  // borrowed

    std::mutex mutex;
    std::condition_variable changed;
    bool opened = false;   // guarded by mutex
    bool stopped = false;  // guarded by mutex

    std::thread thread;
};
