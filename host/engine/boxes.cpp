#include "engine/boxes.h"

#include <algorithm>

double Boxes::overlap(const cv::Rect2d& one, const cv::Rect2d& other) {
    const double common = (one & other).area();
    return common > 0 ? common / (one.area() + other.area() - common) : 0;
}

cv::Point2d Boxes::centre(const cv::Rect2d& box) {
    return {box.x + box.width / 2, box.y + box.height / 2};
}

cv::Rect2d Boxes::grown(const cv::Rect2d& box, double share) {
    return {box.x - box.width * share, box.y - box.height * share, box.width * (1 + 2 * share),
            box.height * (1 + 2 * share)};
}

double Boxes::shareInside(const cv::Rect2d& inner, const cv::Rect2d& outer) {
    return (inner & outer).area() / inner.area();
}

cv::Point2d Boxes::gap(const cv::Rect2d& one, const cv::Rect2d& other) {
    return {std::max(one.x, other.x) - std::min(one.br().x, other.br().x),
            std::max(one.y, other.y) - std::min(one.br().y, other.br().y)};
}
