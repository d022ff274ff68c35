#pragma once

#include <cstdint>

#include "scene/camera.h"
#include "scene/scene_reader_result.h"

/// A camera whose scenes come over the scene socket, read by a thread of its own.
///
///     Created -> Connecting -> Streaming <-> Reconnecting
///                    |             |              |
///                    +--------> Stopped <---------+
///
/// A failed first connect ends the thread for good; only a lost stream is retried, every 200000
/// microseconds. stop() only clears the flag: a thread that waits for a frame sees it after the
/// next frame or when the peer closes, and a join waits as long. Stop and join before destruction.
class SocketCamera : public Camera {
public:
    SocketCamera(int camera, int rotation, API_VersionHandler versions, unsigned capabilities);
    ~SocketCamera() override;

    /// The body of the camera's thread, for Thread::start; `camera` is a SocketCamera.
    static void* run(void* camera);

    /// One scene: decode, track, guards, motion level. The payload stays the caller's.
    void handleNoltData(char* payload) override;

    /// Connects and settles version and capabilities with the engine, from the highest known
    /// version downwards. A failure is logged and leaves the descriptor of the last attempt as it
    /// is.
    bool connect();

    /// Closes the connection, sleeps 200000 microseconds, connects anew and asks for the version
    /// settled before. Whether that worked shows at the next frame.
    void reconnect();

private:
    void streamScenes();
    void handleLostStream();
    void forgetObjects();
    bool negotiate(API_Version& requested);
    SceneReaderResult handshake(const API_Version& version) const;

    /// The thread's alone; the destructor's once it is joined. -1 for none.
    std::int32_t fd = -1;
};
