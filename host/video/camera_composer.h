#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "video/picture_queue.h"
#include "video/stream.h"
#include "video/stream_painter.h"
#include "video/user_overlay_renderer.h"

class OverlaySource;

/// Makes the pictures of one camera's streams for those who watch, on a thread of its own. Nothing
/// is made of a stream that nobody watches.
class CameraComposer {
public:
    struct Result {
        int stream;  ///< its id
        /// Overlays and picture are those of this moment.
        PictureQueue::Time time;
        ComposedPicture picture;
    };
    /// Takes a picture, on this object's thread.
    using Taker = std::function<void(Result result)>;

    /// `first` is shown until the camera has a picture. `source` is borrowed.
    CameraComposer(int camera, AvFrame first, const OverlaySource& source, Taker taker);
    /// Takes no longer than one picture.
    ~CameraComposer();
    CameraComposer(const CameraComposer&) = delete;
    CameraComposer& operator=(const CameraComposer&) = delete;

    /// The camera's next picture, upright. It is kept by reference. Any thread; waits for nothing.
    void add(const AVFrame& picture);

    /// What is wanted of a stream from now on. A key picture that was wanted stays so until there
    /// is one. Any thread.
    void setDemand(const Stream& stream, const StreamDemand& demand);

private:
    struct Watched {
        Stream stream;
        StreamDemand demand;
    };
    struct Round {
        AvFrame picture;
        PictureQueue::Time time;
        std::vector<Watched> streams;
    };

    void run();
    Round takeRound(PictureQueue::Time now);
    void paint(const Round& round);
    void paint(const Round& round, const Watched& watched);
    /// Of a round; empty if nothing failed.
    void tellOutcome(const std::string& failure);

    const int number;
    const OverlaySource& overlays;
    const Taker take;
    UserOverlayRenderer userOverlays;       // the thread's
    std::map<int, StreamPainter> painters;  // the thread's; by stream
    bool isFailing = false;                 // the thread's

    std::mutex mutex;
    std::condition_variable changed;
    PictureQueue queue;              // guarded by mutex
    std::map<int, Watched> watched;  // guarded by mutex; by stream
    bool isEnding = false;           // guarded by mutex

    std::thread thread;
};
