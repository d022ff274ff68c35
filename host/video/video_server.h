#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "video/picture_sink.h"
#include "video/video_web.h"

class CameraComposer;
class OverlaySource;
class StreamTable;
struct VideoOptions;

/// The pictures of all cameras, with what lies over them, for whoever watches: each picture is
/// composed 60 ms after it came, for each stream that is watched, and served over HTTP. A camera is
/// grey until its first picture; the last one is composed again ten times a second while no other
/// comes. While nobody watches, nothing is composed.
///
/// Threads: one for each camera composes and encodes; one serves all viewers.
class VideoServer : public PictureSink {
public:
    /// Accepts connections when it returns. `streams` and `overlays` are borrowed. Throws
    /// std::runtime_error when the socket cannot be made.
    VideoServer(const VideoOptions& options, const StreamTable& streams,
                const OverlaySource& overlays, VideoWeb::Limits limits);
    VideoServer(const VideoOptions& options, const StreamTable& streams,
                const OverlaySource& overlays)
        : VideoServer(options, streams, overlays, VideoWeb::Limits()) {}
    /// Cuts off all viewers.
    ~VideoServer() override;
    VideoServer(const VideoServer&) = delete;
    VideoServer& operator=(const VideoServer&) = delete;

    /// A picture of a camera that there is not, or of another form, is left out.
    void onPicture(int camera, const AVFrame& picture, std::int64_t time) override;

private:
    VideoWeb web;
    std::vector<std::unique_ptr<CameraComposer>> composers;  // of camera 1 and so on
};
