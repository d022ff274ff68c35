#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "geometry/point.h"

/// Closed outlines in the picture, asked with room to spare: an answer holds for every outline
/// whose edges lie within `room` scene units, in x and in y, of the given one. Exact on 32 bits,
/// which the picture's coordinates (-4096..4096) never leave.
namespace Outline {

struct Box {
    std::int16_t minX, minY, maxX, maxY;

    int width() const { return maxX - minX; }
    int height() const { return maxY - minY; }
    bool isInPicture() const;
};

enum class Where { kInside, kOutside, kNear };

/// Of at least one point.
Box boxOf(const std::vector<Point>& points);

/// Whether no two points of both lists are equal.
bool areDistinct(const std::vector<Point>& a, const std::vector<Point>& b);

/// Whether the boxes have a point in common, or come within `room` of it.
inline bool meet(const Box& a, const Box& b, int room = 0) {
    return (a.minX - b.maxX <= room) & (b.minX - a.maxX <= room) & (a.minY - b.maxY <= room) &
           (b.minY - a.maxY <= room);
}

inline bool holds(const Box& box, const Point& point) {
    return (point.x >= box.minX) & (point.x <= box.maxX) & (point.y >= box.minY) &
           (point.y <= box.maxY);
}

/// What two boxes that meet have in common.
inline Box common(const Box& a, const Box& b) {
    return {std::max(a.minX, b.minX), std::max(a.minY, b.minY), std::min(a.maxX, b.maxX),
            std::min(a.maxY, b.maxY)};
}

/// Whether the inner box lies in the outer one and nowhere within `room` of its sides.
inline bool isDeepInside(const Box& inner, const Box& outer, int room) {
    return (inner.minX - outer.minX > room) & (inner.minY - outer.minY > room) &
           (outer.maxX - inner.maxX > room) & (outer.maxY - inner.maxY > room);
}

/// Where the point lies, by the non-zero rule; kNear when any edge comes within `room` of it.
Where locate(const Point& point, const std::vector<Point>& outline, int room);

/// Whether both outlines stay further than `room` apart everywhere. Not exact in one way: false may
/// be said of edges that are a little further apart than that.
bool areApart(const std::vector<Point>& a, const std::vector<Point>& b, int room);

/// Whether a straight line parts the polygon of the hull's points from the outline: enough to know
/// that they do not meet. The hull is one of convexHull().
bool isParted(const std::vector<Point>& hull, const std::vector<Point>& outline);

/// Corners of what two polygons have in common: vertices of either that lie inside the other, and
/// the points where their edges cross, cut to the grid.
struct CommonCorners {
    /// Whether the polygons have a point in common; exact.
    bool meet = false;
    /// False when more corners were found than fit, or when edges lie on one line.
    bool areAll = true;
    std::size_t count = 0;
    std::array<Point, 32> points;

    void add(const Point& point);
    /// Of at least one point.
    Point mean() const;
    std::span<const Point> list() const { return {points.data(), count}; }
};

/// `overlap` is what the boxes of both have in common.
CommonCorners findCommonCorners(const std::vector<Point>& a, const std::vector<Point>& b,
                                const Box& overlap);

/// Whether the outline neither touches itself nor turns back on itself.
bool isSimple(const std::vector<Point>& points);

/// The corners of the smallest convex polygon round the points, with the inside to the left.
std::vector<Point> convexHull(std::vector<Point> points);

/// Whether the outline is simple and its polygon convex.
bool isConvex(const std::vector<Point>& points);

}  // namespace Outline
