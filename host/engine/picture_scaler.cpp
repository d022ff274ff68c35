#include "engine/picture_scaler.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

namespace {

constexpr int mostWidth = 384;
constexpr int leastHeight = 16;
constexpr int mostHeight = 1024;

}  // namespace

const cv::Mat& PictureScaler::scale(const AVFrame& frame) {
    const int width = std::min(mostWidth, frame.width);
    const auto exact = std::int64_t{frame.height} * width / frame.width;
    const int height =
        static_cast<int>(std::clamp<std::int64_t>(exact, leastHeight, mostHeight)) & ~1;
    context.reset(sws_getCachedContext(context.release(), frame.width, frame.height,
                                       static_cast<AVPixelFormat>(frame.format), width, height,
                                       AV_PIX_FMT_BGR24, SWS_AREA, nullptr, nullptr, nullptr));
    if (!context) {
        throw std::runtime_error("pictures of an unknown form");
    }
    picture.create(height, width, CV_8UC3);
    std::uint8_t* const planes[] = {picture.data, nullptr, nullptr, nullptr};
    const int strides[] = {static_cast<int>(picture.step), 0, 0, 0};
    if (sws_scale(context.get(), frame.data, frame.linesize, 0, frame.height, planes, strides) !=
        height) {
        throw std::runtime_error("a picture could not be scaled");
    }
    return picture;
}
