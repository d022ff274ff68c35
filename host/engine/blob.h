#pragma once

#include <opencv2/core.hpp>
#include <vector>

using Contour = std::vector<cv::Point>;

/// A connected piece of foreground, or several that belong together; in picture points.
struct Blob {
    Contour points;
    cv::Rect2d box;
    double area = 0;
    bool single = true;  ///< one piece: the points are its outline
};
