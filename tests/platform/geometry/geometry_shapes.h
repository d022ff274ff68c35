#pragma once

#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <vector>

#include "geometry/geometry.h"

using Shape = std::vector<gm_point>;

inline bool operator==(const gm_point& a, const gm_point& b) {
    return a.x == b.x && a.y == b.y;
}

inline std::ostream& operator<<(std::ostream& out, const gm_point& point) {
    return out << '(' << point.x << ", " << point.y << ')';
}

inline long countOf(const Shape& shape) {
    return static_cast<long>(shape.size());
}

inline bool polygonsMeet(const Shape& a, const Shape& b) {
    return gm_intersect_pp(a.data(), countOf(a), b.data(), countOf(b)) == 1;
}

inline bool polygonMeetsLine(const Shape& polygon, const Shape& line) {
    return gm_intersect_ps(polygon.data(), countOf(polygon), line.data(), countOf(line)) == 1;
}

inline bool linesMeet(const Shape& a, const Shape& b) {
    return gm_intersect_ss(a.data(), countOf(a), b.data(), countOf(b)) == 1;
}

inline bool isInside(gm_point point, const Shape& polygon) {
    return gm_inside_p(&point, polygon.data(), countOf(polygon)) == 1;
}

/// The pieces, with the library's arrays released. Failure gives one empty piece.
inline std::vector<Shape> clip(const Shape& subject, const Shape& other, gm_clip_e mode) {
    gm_point** pieces = nullptr;
    int64_t* lengths = nullptr;
    int64_t count = 0;
    if (gm_clip_pp(&pieces, &lengths, &count, subject.data(), countOf(subject), other.data(),
                   countOf(other), mode) != 0) {
        return {Shape{}};
    }
    std::vector<Shape> result;
    for (int64_t i = 0; i < count; ++i) {
        result.emplace_back(pieces[i], pieces[i] + lengths[i]);
        std::free(pieces[i]);
    }
    std::free(pieces);
    std::free(lengths);
    return result;
}

/// Twice the signed area.
inline std::int64_t twiceArea(const Shape& shape) {
    std::int64_t sum = 0;
    for (std::size_t i = 0; i < shape.size(); ++i) {
        const gm_point a = shape[i];
        const gm_point b = shape[(i + 1) % shape.size()];
        sum += std::int64_t{a.x} * b.y - std::int64_t{b.x} * a.y;
    }
    return sum;
}

/// Twice the area of all pieces.
inline std::int64_t twiceArea(const std::vector<Shape>& pieces) {
    std::int64_t sum = 0;
    for (const Shape& piece : pieces) {
        sum += std::abs(twiceArea(piece));
    }
    return sum;
}
