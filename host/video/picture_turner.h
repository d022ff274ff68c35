#pragma once

#include "engine/av_pointers.h"

/// Brings upright yuv420p pictures to the size and the rotation of a stream: first scaled, then
/// turned clockwise. Used from one thread.
class PictureTurner {
public:
    /// `width` and `height` are those before turning; `rotation` is 0, 90, 180 or 270 degrees.
    /// Throws std::runtime_error without memory.
    PictureTurner(int width, int height, int rotation);

    /// The picture stays this object's, may be written to, and is overwritten by the next call.
    /// Throws std::runtime_error for a picture that cannot be scaled.
    AVFrame& turn(const AVFrame& upright);

private:
    const AVFrame& scale(const AVFrame& upright);

    const int width;
    const int height;
    const int rotation;
    AvScaler scaler;
    AvFrame scaled;  // null while every picture has had the stream's size
    AvFrame turned;
};
