#include "video/picture_pool.h"

#include <new>

extern "C" {
#include <libavutil/imgutils.h>
}

namespace {

/// Of rows and planes, in bytes: for any vector instruction.
constexpr int alignment = 64;

}  // namespace

PicturePool::~PicturePool() {
    av_buffer_pool_uninit(&buffers);
}

AVFrame& PicturePool::take(int width, int height) {
    if (width != frameWidth || height != frameHeight) {
        prepare(width, height);
    }
    av_frame_unref(frame.get());
    AVBufferRef* const buffer = av_buffer_pool_get(buffers);
    if (buffer == nullptr) {
        throw std::bad_alloc();
    }
    frame->buf[0] = buffer;
    av_image_fill_arrays(frame->data, frame->linesize, buffer->data, AV_PIX_FMT_YUV420P, width,
                         height, alignment);
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = width;
    frame->height = height;
    frame->color_range = AVCOL_RANGE_MPEG;
    frame->colorspace = AVCOL_SPC_SMPTE170M;
    frame->sample_aspect_ratio = {1, 1};
    return *frame;
}

void PicturePool::prepare(int width, int height) {
    frameWidth = 0;
    av_buffer_pool_uninit(&buffers);
    if (!frame) {
        frame.reset(av_frame_alloc());
    }
    const int planes = av_image_get_buffer_size(AV_PIX_FMT_YUV420P, width, height, alignment);
    if (frame && planes > 0) {
        // Rows are read beyond their ends by some.
        const std::size_t size = static_cast<std::size_t>(planes) + alignment;
        buffers = av_buffer_pool_init(size, av_buffer_allocz);
    }
    if (buffers == nullptr) {
        throw std::bad_alloc();
    }
    frameWidth = width;
    frameHeight = height;
}
