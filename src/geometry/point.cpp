#include "geometry/point.h"

std::int32_t Point::squareDistance(const Point& other) const {
    const std::int64_t dx = std::int64_t{x} - other.x;
    const std::int64_t dy = std::int64_t{y} - other.y;
    return static_cast<std::int32_t>(dx * dx + dy * dy);
}

std::string Point::toString() const {
    return "{x: " + std::to_string(x) + ", y: " + std::to_string(y) + "}";
}
