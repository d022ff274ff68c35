#include "engine/outline.h"

#include <algorithm>
#include <cstdint>
#include <opencv2/imgproc.hpp>

namespace {

constexpr double reach = 4096;
constexpr double firstTolerance = 0.004;  // of the outline's length
constexpr double nextTolerance = 1.3;
constexpr int mostTolerances = 24;
const cv::Point2d pixelCentre{0.5, 0.5};

std::int64_t turn(const ScenePoint& a, const ScenePoint& b, const ScenePoint& c) {
    return (std::int64_t{b.x} - a.x) * (std::int64_t{c.y} - a.y) -
           (std::int64_t{b.y} - a.y) * (std::int64_t{c.x} - a.x);
}

int sign(std::int64_t value) {
    return (value > 0) - (value < 0);
}

/// Whether `c`, on the line through `a` and `b`, lies between them.
bool isBetween(const ScenePoint& a, const ScenePoint& b, const ScenePoint& c) {
    return std::min(a.x, b.x) <= c.x && c.x <= std::max(a.x, b.x) && std::min(a.y, b.y) <= c.y &&
           c.y <= std::max(a.y, b.y);
}

bool doTouch(const ScenePoint& a, const ScenePoint& b, const ScenePoint& c, const ScenePoint& d) {
    const int abc = sign(turn(a, b, c));
    const int abd = sign(turn(a, b, d));
    const int cda = sign(turn(c, d, a));
    const int cdb = sign(turn(c, d, b));
    if (abc * abd < 0 && cda * cdb < 0) {
        return true;
    }
    return (abc == 0 && isBetween(a, b, c)) || (abd == 0 && isBetween(a, b, d)) ||
           (cda == 0 && isBetween(c, d, a)) || (cdb == 0 && isBetween(c, d, b));
}

/// Whether the edges a-b and b-c lie on each other.
bool turnsBack(const ScenePoint& a, const ScenePoint& b, const ScenePoint& c) {
    return turn(a, b, c) == 0 && (isBetween(a, b, c) || isBetween(b, c, a));
}

Contour simplify(const Contour& points, int mostVertices) {
    double tolerance = firstTolerance * cv::arcLength(points, true);
    Contour simple;
    for (int i = 0; i < mostTolerances; ++i, tolerance *= nextTolerance) {
        cv::approxPolyDP(points, simple, tolerance, true);
        if (static_cast<int>(simple.size()) <= mostVertices) {
            break;
        }
    }
    return simple;
}

std::vector<ScenePoint> toPolygon(const Contour& points, cv::Point2d shift, cv::Size view) {
    std::vector<ScenePoint> polygon;
    for (const cv::Point& point : points) {
        const cv::Point2d moved = Outline::toScene(cv::Point2d(point) + shift, view);
        const ScenePoint vertex = {static_cast<std::int16_t>(cvRound(moved.x)),
                                   static_cast<std::int16_t>(cvRound(moved.y))};
        if (polygon.empty() || polygon.back() != vertex) {
            polygon.push_back(vertex);
        }
    }
    while (polygon.size() > 1 && polygon.back() == polygon.front()) {
        polygon.pop_back();
    }
    return polygon;
}

bool isUsable(const std::vector<ScenePoint>& polygon, int mostVertices) {
    return static_cast<int>(polygon.size()) <= mostVertices && Outline::isSimple(polygon);
}

}  // namespace

cv::Point2d Outline::toScene(cv::Point2d point, cv::Size view) {
    return {std::clamp((point.x / view.width * 2 - 1) * reach, -reach, reach),
            std::clamp((1 - point.y / view.height * 2) * reach, -reach, reach)};
}

std::vector<ScenePoint> Outline::make(const Contour& points, bool single, cv::Point2d shift,
                                      cv::Size view, int mostVertices) {
    if (single) {
        auto polygon = toPolygon(simplify(points, mostVertices), shift + pixelCentre, view);
        if (isUsable(polygon, mostVertices)) {
            return polygon;
        }
    }
    Contour hull;
    cv::convexHull(points, hull);
    auto polygon = toPolygon(simplify(hull, mostVertices), shift + pixelCentre, view);
    if (isUsable(polygon, mostVertices)) {
        return polygon;
    }
    const cv::Rect box = cv::boundingRect(points);
    const Contour corners = {
        box.tl(), {box.x + box.width, box.y}, box.br(), {box.x, box.y + box.height}};
    polygon = toPolygon(corners, shift, view);
    return isSimple(polygon) ? polygon : toPolygon(corners, {}, view);
}

bool Outline::isSimple(const std::vector<ScenePoint>& polygon) {
    const std::size_t count = polygon.size();
    if (count < 3) {
        return false;
    }
    const auto at = [&](std::size_t i) { return polygon[i % count]; };
    for (std::size_t i = 0; i < count; ++i) {
        if (turnsBack(at(i), at(i + 1), at(i + 2))) {
            return false;
        }
        for (std::size_t j = i + 2; j < count && j + 1 < i + count; ++j) {
            if (doTouch(at(i), at(i + 1), at(j), at(j + 1))) {
                return false;
            }
        }
    }
    return true;
}
