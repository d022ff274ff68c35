#pragma once

#include <atomic>
#include <string>
#include <thread>

#include "engine/file_descriptor.h"

/// A camera on the loopback: serves a clip by RTSP, packets interleaved, to one viewer at a time.
/// It hangs up at the clip's end, as if it were lost.
class RtspServer {
public:
    explicit RtspServer(std::string clipPath);
    ~RtspServer();
    RtspServer(const RtspServer&) = delete;
    RtspServer& operator=(const RtspServer&) = delete;

    std::string url() const { return "rtsp://127.0.0.1:" + std::to_string(port) + "/stream"; }
    /// How often the clip was asked for.
    int plays() const { return playCount; }

private:
    void serve();
    void serveViewer(int viewer);

    const std::string clip;
    FileDescriptor listener;
    int port = 0;
    std::atomic<bool> ending{false};
    std::atomic<int> playCount{0};
    std::thread thread;
};
