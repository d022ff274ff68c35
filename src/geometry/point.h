#pragma once

#include <cstdint>
#include <functional>
#include <string>

/// A point in scene space: -4096 to 4096 across the picture on both axes, 4096 standing for 1.0,
/// (0, 0) in the centre, y upwards. Arrays of it are arrays of interleaved x, y shorts.
struct Point {
    std::int16_t x = 0;
    std::int16_t y = 0;

    /// dx * dx + dy * dy in 32 bits.
    std::int32_t squareDistance(const Point& other) const;

    /// "{x: 1, y: 2}".
    std::string toString() const;

    friend bool operator==(const Point&, const Point&) = default;
};

static_assert(sizeof(Point) == 4, "arrays of points travel as interleaved shorts");

/// Orders points by y first, then by x.
template <>
struct std::less<Point> {
    bool operator()(const Point& a, const Point& b) const {
        return a.y != b.y ? a.y < b.y : a.x < b.x;
    }
};
