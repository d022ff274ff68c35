#include "video/picture_frame.h"

#include <stdexcept>

AvFrame makePictureFrame(int width, int height) {
    AvFrame frame(av_frame_alloc());
    if (!frame) {
        throw std::runtime_error("no memory for a picture");
    }
    frame->width = width;
    frame->height = height;
    frame->format = AV_PIX_FMT_YUV420P;
    if (const int result = av_frame_get_buffer(frame.get(), 0); result < 0) {
        throw std::runtime_error("a picture of " + std::to_string(width) + "x" +
                                 std::to_string(height) + ": " + avErrorText(result));
    }
    return frame;
}

AvFrame sharePictureFrame(const AVFrame& frame) {
    AvFrame shared(av_frame_alloc());
    if (!shared || av_frame_ref(shared.get(), &frame) < 0) {
        throw std::runtime_error("no memory for a picture");
    }
    return shared;
}
