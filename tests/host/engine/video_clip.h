#pragma once

#include <functional>
#include <opencv2/core.hpp>
#include <string>

/// A drawn video, to be written to a file.
struct VideoClip {
    int width = 192;
    int height = 144;
    int picturesPerSecond = 10;
    int pictures = 20;
    std::string codec = "mpeg4";
    /// Draws on a textured ground; told the number of the picture.
    std::function<void(cv::Mat&, int)> draw = [](cv::Mat&, int) {};

    /// The file's kind goes by its name.
    void write(const std::string& path) const;
};
