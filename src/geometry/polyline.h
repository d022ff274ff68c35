#pragma once

#include <string>
#include <vector>

#include "geometry/point.h"

class Polygon;

/// An open line in scene space: a plain value.
class Polyline {
public:
    /// The line of `count` interleaved points, taken as they are; empty with null.
    Polyline(const short* xy, int count);
    Polyline(const Point& from, const Point& to);

    /// A copy that the caller owns.
    Polyline* clone() const;

    /// Whether both have the same vertices in the same order.
    bool operator==(const Polyline& other) const;
    bool operator!=(const Polyline& other) const;

    /// The index of the first vertex that equals the point, or -1.
    int findPosition(const Point& point) const;

    /// Whether the line meets the polygon, or the other line.
    bool doesIntersect(const Polygon& polygon) const;
    bool doesIntersect(const Polyline& other) const;

    /// An SVG polyline element, in units of 4096 with three decimals. An empty style is left out.
    std::string toStringSvg(const std::string& style, const std::string& cssClass) const;

    /// For debugging: the vertices as text, and the same on standard output.
    std::string toString() const;
    void print() const;

    /// Whether all points are the same one; false for null and for fewer than two points.
    static bool areArrayPointsEqual(const short* xy, int count);

    std::vector<Point> points;
};
