#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "geometry/geometry.h"
#include "geometry/point.h"

/// What polygons and polylines have in common as lists of points.
namespace PointList {

/// The points as the geometry library takes them.
inline const gm_point* platformPoints(const std::vector<Point>& points) {
    static_assert(sizeof(gm_point) == 4, "a point of the library is laid out like a Point");
    return reinterpret_cast<const gm_point*>(points.data());
}

/// Their number as the geometry library takes it.
inline long platformCount(const std::vector<Point>& points) {
    return static_cast<long>(points.size());
}

/// `count` interleaved points; none with null or a negative count.
std::vector<Point> fromArray(const short* xy, int count);

/// Whether all points are the same one; false for null and for fewer than two points.
bool areAllEqual(const short* xy, int count);

/// The index of the first point that equals the given one, or -1.
int findPosition(const std::vector<Point>& points, const Point& point);

/// An SVG element of the name, in units of 4096 with three decimals. An empty style is left out.
std::string toSvg(std::string_view element, const std::vector<Point>& points,
                  const std::string& style, const std::string& cssClass);

/// The points as text, for debugging.
std::string toString(const std::vector<Point>& points);

}  // namespace PointList
