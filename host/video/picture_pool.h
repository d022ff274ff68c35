#pragma once

#include "engine/av_pointers.h"

/// Frames whose memory is used again when nobody holds it any more. Used from one thread; the
/// frames' data may be let go from any, also when the pool is gone.
class PicturePool {
public:
    PicturePool() = default;
    ~PicturePool();
    PicturePool(const PicturePool&) = delete;
    PicturePool& operator=(const PicturePool&) = delete;

    /// A yuv420p frame, BT.601, limited range, square pixels, that nobody else holds; its content
    /// is any. Borrowed until the next call. Throws std::bad_alloc.
    AVFrame& take(int width, int height);

private:
    void prepare(int width, int height);

    AVBufferPool* buffers = nullptr;  // owned; null before the first picture
    AvFrame frame;
    int frameWidth = 0;  // that the buffers are for
    int frameHeight = 0;
};
