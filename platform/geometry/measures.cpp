#include "geometry/measures.h"

#include <algorithm>
#include <limits>

namespace {

constexpr int kFailure = -1;

// No sum of 16-bit coordinates, and no product with a 64-bit factor, leaves 128 bits.
__extension__ typedef __int128 Wide;

Wide cross(gm_point a, gm_point b) {
    return std::int64_t{a.x} * b.y - std::int64_t{b.x} * a.y;
}

// Nearest integer, halves away from zero.
Wide divideRounded(Wide numerator, Wide denominator) {
    if (denominator < 0) {
        return divideRounded(-numerator, -denominator);
    }
    return numerator < 0 ? -((2 * -numerator + denominator) / (2 * denominator))
                         : (2 * numerator + denominator) / (2 * denominator);
}

bool fits(Wide value) {
    return value >= std::numeric_limits<std::int16_t>::min() &&
           value <= std::numeric_limits<std::int16_t>::max();
}

bool liesInBox(Wide x, Wide y, const gm_point* polygon, long count) {
    const auto [minX, maxX] = std::minmax_element(polygon, polygon + count,
                                                  [](gm_point a, gm_point b) { return a.x < b.x; });
    const auto [minY, maxY] = std::minmax_element(polygon, polygon + count,
                                                  [](gm_point a, gm_point b) { return a.y < b.y; });
    return x >= minX->x && x <= maxX->x && y >= minY->y && y <= maxY->y;
}

Wide scaled(std::int16_t value, std::int64_t factor) {
    return divideRounded(Wide{value} * factor, 65536);
}

}  // namespace

int measures::area(std::int64_t* result, const gm_point* polygon, long count) {
    if (result == nullptr || polygon == nullptr || count < 3) {
        return kFailure;
    }
    Wide twice = 0;
    gm_point a = polygon[count - 1];
    for (long i = 0; i < count; ++i) {
        twice += cross(a, polygon[i]);
        a = polygon[i];
    }
    *result = static_cast<std::int64_t>((twice < 0 ? -twice : twice) / 2);
    return 0;
}

int measures::centroid(gm_point* result, const gm_point* polygon, long count) {
    if (result == nullptr || polygon == nullptr || count < 3) {
        return kFailure;
    }
    Wide twiceArea = 0;
    Wide momentX = 0;
    Wide momentY = 0;
    gm_point a = polygon[count - 1];
    for (long i = 0; i < count; ++i) {
        const gm_point b = polygon[i];
        const Wide weight = cross(a, b);
        twiceArea += weight;
        momentX += weight * (a.x + b.x);
        momentY += weight * (a.y + b.y);
        a = b;
    }
    if (twiceArea == 0) {
        return kFailure;
    }
    const Wide x = divideRounded(momentX, 3 * twiceArea);
    const Wide y = divideRounded(momentY, 3 * twiceArea);
    if (!liesInBox(x, y, polygon, count)) {
        return kFailure;
    }
    *result = {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y)};
    return 0;
}

int measures::scale(gm_point* points, long count, std::int64_t xFactor, std::int64_t yFactor) {
    if (count < 0 || (points == nullptr && count > 0)) {
        return kFailure;
    }
    const bool allFit = std::all_of(points, points + count, [&](gm_point point) {
        return fits(scaled(point.x, xFactor)) && fits(scaled(point.y, yFactor));
    });
    if (!allFit) {
        return kFailure;
    }
    for (long i = 0; i < count; ++i) {
        points[i].x = static_cast<std::int16_t>(scaled(points[i].x, xFactor));
        points[i].y = static_cast<std::int16_t>(scaled(points[i].y, yFactor));
    }
    return 0;
}
