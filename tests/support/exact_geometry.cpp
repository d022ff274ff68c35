#include "support/exact_geometry.h"

#include <algorithm>
#include <functional>
#include <initializer_list>

namespace {

using exact_geometry::Outline;
using exact_geometry::Vertex;
using exact_geometry::Wide;

Wide cross(Vertex a, Vertex b) {
    return Wide{a.x} * b.y - Wide{a.y} * b.x;
}

Wide dot(Vertex a, Vertex b) {
    return Wide{a.x} * b.x + Wide{a.y} * b.y;
}

Vertex minus(Vertex a, Vertex b) {
    return {a.x - b.x, a.y - b.y};
}

// 0 <= numerator / denominator <= 1, for a denominator other than 0.
bool isShare(Wide numerator, Wide denominator) {
    return denominator > 0 ? numerator >= 0 && numerator <= denominator
                           : numerator <= 0 && numerator >= denominator;
}

bool isOnSegment(Vertex point, Vertex a, Vertex b) {
    if (a == b) {
        return point == a;
    }
    return cross(minus(b, a), minus(point, a)) == 0 &&
           isShare(dot(minus(b, a), minus(point, a)), dot(minus(b, a), minus(b, a)));
}

using SegmentTest = std::function<bool(Vertex, Vertex)>;

bool anyEdge(Outline outline, const SegmentTest& test) {
    for (std::size_t i = 0; i < outline.size(); ++i) {
        if (test(outline[i], outline[(i + 1) % outline.size()])) {
            return true;
        }
    }
    return false;
}

bool anySegment(Outline line, const SegmentTest& test) {
    if (line.size() == 1) {
        return test(line[0], line[0]);
    }
    for (std::size_t i = 1; i < line.size(); ++i) {
        if (test(line[i - 1], line[i])) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool exact_geometry::segmentsMeet(Vertex a, Vertex b, Vertex c, Vertex d) {
    const Vertex way = minus(b, a);
    const Vertex other = minus(d, c);
    const Wide determinant = cross(way, other);
    if (determinant == 0) {
        return isOnSegment(a, c, d) || isOnSegment(b, c, d) || isOnSegment(c, a, b) ||
               isOnSegment(d, a, b);
    }
    return isShare(cross(minus(c, a), other), determinant) &&
           isShare(cross(minus(c, a), way), determinant);
}

bool exact_geometry::isOnOutline(Vertex point, Outline outline) {
    return anyEdge(outline, [&](Vertex a, Vertex b) { return isOnSegment(point, a, b); });
}

// The ray leaves in a direction so steep that a vertex it could meet would have to be as far away
// as no coordinate is, unless it lies straight above; the one unit to the side takes care of that.
int exact_geometry::windingNumber(Vertex point, Outline outline) {
    const Vertex direction{1, std::int64_t{1} << 40};
    int winding = 0;
    anyEdge(outline, [&](Vertex a, Vertex b) {
        const Wide sideOfA = cross(direction, minus(a, point));
        const Wide sideOfB = cross(direction, minus(b, point));
        if ((sideOfA > 0) != (sideOfB > 0)) {
            // Share of the direction at which the ray meets the edge's line.
            const Wide determinant = cross(direction, minus(b, a));
            const Wide share = cross(minus(a, point), minus(b, a));
            if (determinant > 0 ? share > 0 : share < 0) {
                winding += sideOfA > 0 ? -1 : 1;
            }
        }
        return false;
    });
    return winding;
}

bool exact_geometry::covers(Outline outline, Vertex point) {
    return isOnOutline(point, outline) || windingNumber(point, outline) != 0;
}

bool exact_geometry::polygonsMeet(Outline a, Outline b) {
    const bool edgesMeet = anyEdge(a, [&](Vertex p, Vertex q) {
        return anyEdge(b, [&](Vertex r, Vertex s) { return segmentsMeet(p, q, r, s); });
    });
    const auto coversAny = [](Outline outer, Outline inner) {
        return std::any_of(inner.begin(), inner.end(), [&](Vertex v) { return covers(outer, v); });
    };
    return edgesMeet || coversAny(a, b) || coversAny(b, a);
}

bool exact_geometry::lineMeetsPolygon(Outline line, Outline polygon) {
    const bool edgesMeet = anySegment(line, [&](Vertex p, Vertex q) {
        return anyEdge(polygon, [&](Vertex r, Vertex s) { return segmentsMeet(p, q, r, s); });
    });
    return edgesMeet ||
           std::any_of(line.begin(), line.end(), [&](Vertex v) { return covers(polygon, v); });
}

bool exact_geometry::linesMeet(Outline a, Outline b) {
    return anySegment(a, [&](Vertex p, Vertex q) {
        return anySegment(b, [&](Vertex r, Vertex s) { return segmentsMeet(p, q, r, s); });
    });
}

bool exact_geometry::isNear(Vertex point, Vertex a, Vertex b, std::int64_t room) {
    const Vertex corners[] = {{point.x - room, point.y - room},
                              {point.x + room, point.y - room},
                              {point.x + room, point.y + room},
                              {point.x - room, point.y + room}};
    const bool startsInside = std::max(a.x - point.x, point.x - a.x) <= room &&
                              std::max(a.y - point.y, point.y - a.y) <= room;
    return startsInside ||
           anyEdge(corners, [&](Vertex c, Vertex d) { return segmentsMeet(a, b, c, d); });
}

bool exact_geometry::isNear(Vertex point, Outline outline, std::int64_t room) {
    return anyEdge(outline, [&](Vertex a, Vertex b) { return isNear(point, a, b, room); });
}
