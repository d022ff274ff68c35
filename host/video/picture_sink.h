#pragma once

#include <cstdint>

struct AVFrame;

/// Takes the cameras' pictures.
class PictureSink {
public:
    virtual ~PictureSink() = default;

    /// The next picture of a camera (from 1), in yuv420p, BT.601, limited range,
    /// square pixels, upright. `time` is its scene's, nanoseconds on the
    /// monotonic clock. The frame is borrowed; its data is counted by reference
    /// and not written to any more, so it may be kept with av_frame_ref. Comes on
    /// the receiver's thread, which must not be kept waiting.
    virtual void onPicture(int camera, const AVFrame& picture, std::int64_t time) = 0;
};
