#pragma once

#include <opencv2/core.hpp>

/// Rectangles of real numbers.
namespace Boxes {

/// Share of the common area in the area of both together, 0..1.
double overlap(const cv::Rect2d& one, const cv::Rect2d& other);
cv::Point2d centre(const cv::Rect2d& box);
/// The box with a margin of `share` of its own size on every side.
cv::Rect2d grown(const cv::Rect2d& box, double share);
/// The part of `inner` that lies in `outer`, 0..1.
double shareInside(const cv::Rect2d& inner, const cv::Rect2d& outer);
/// The gap between two boxes in each direction; negative where they overlap.
cv::Point2d gap(const cv::Rect2d& one, const cv::Rect2d& other);

}  // namespace Boxes
