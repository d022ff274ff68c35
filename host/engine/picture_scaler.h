#pragma once

#include <opencv2/core.hpp>

#include "engine/av_pointers.h"

/// Brings decoded pictures to the size and form that is analysed: 384 points wide at most, blue,
/// green, red. Averages, so that noise goes down with the size.
class PictureScaler {
public:
    /// The picture stays this object's until the next call. Throws std::runtime_error for a picture
    /// that cannot be converted.
    const cv::Mat& scale(const AVFrame& frame);

private:
    AvScaler context;
    cv::Mat picture;
};
