#include "geometry/predicates.h"

#include <algorithm>
#include <cstdint>

namespace {

struct Box {
    std::int16_t minX, minY, maxX, maxY;
};

Box boxOf(gm_point a, gm_point b) {
    return {std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.x, b.x), std::max(a.y, b.y)};
}

Box boxOf(const gm_point* points, long count) {
    Box box{points[0].x, points[0].y, points[0].x, points[0].y};
    for (long i = 1; i < count; ++i) {
        box.minX = std::min(box.minX, points[i].x);
        box.minY = std::min(box.minY, points[i].y);
        box.maxX = std::max(box.maxX, points[i].x);
        box.maxY = std::max(box.maxY, points[i].y);
    }
    return box;
}

bool meet(const Box& a, const Box& b) {
    return a.minX <= b.maxX && b.minX <= a.maxX && a.minY <= b.maxY && b.minY <= a.maxY;
}

// Above 0 when c lies to the left of the way from a to b, 0 when on its line.
std::int64_t side(gm_point a, gm_point b, gm_point c) {
    return std::int64_t{b.x - a.x} * (c.y - a.y) - std::int64_t{b.y - a.y} * (c.x - a.x);
}

bool onOneSide(std::int64_t a, std::int64_t b) {
    return (a > 0 && b > 0) || (a < 0 && b < 0);
}

// Segments with their ends, which may coincide. The boxes decide for segments on one line.
bool segmentsMeet(gm_point a, gm_point b, gm_point c, gm_point d) {
    return meet(boxOf(a, b), boxOf(c, d)) && !onOneSide(side(c, d, a), side(c, d, b)) &&
           !onOneSide(side(a, b, c), side(a, b, d));
}

// An outline or an open line, as its segments. A single point is a segment of no length.
struct Path {
    const gm_point* points;
    long count;
    bool closed;

    long firstEnd() const { return closed || count == 1 ? 0 : 1; }
    gm_point start(long end) const { return points[end == 0 ? count - 1 : end - 1]; }
};

bool meetsPath(gm_point a, gm_point b, const Path& path) {
    for (long end = path.firstEnd(); end < path.count; ++end) {
        if (segmentsMeet(a, b, path.start(end), path.points[end])) {
            return true;
        }
    }
    return false;
}

bool pathsMeet(const Path& a, const Path& b, const Box& boxOfB) {
    for (long end = a.firstEnd(); end < a.count; ++end) {
        const gm_point from = a.start(end);
        const gm_point to = a.points[end];
        if (meet(boxOf(from, to), boxOfB) && meetsPath(from, to, b)) {
            return true;
        }
    }
    return false;
}

bool isEmpty(const gm_point* points, long count) {
    return points == nullptr || count <= 0;
}

}  // namespace

// Where outlines do not meet, one polygon lies in the other or they are apart; then any vertex
// speaks for its whole polygon.
bool predicates::polygonsMeet(const gm_point* a, long aCount, const gm_point* b, long bCount) {
    if (isEmpty(a, aCount) || isEmpty(b, bCount)) {
        return false;
    }
    const Box boxOfB = boxOf(b, bCount);
    if (!meet(boxOf(a, aCount), boxOfB)) {
        return false;
    }
    return isInside(a[0], b, bCount) || isInside(b[0], a, aCount) ||
           pathsMeet({a, aCount, true}, {b, bCount, true}, boxOfB);
}

bool predicates::polygonMeetsLine(const gm_point* polygon, long polygonCount, const gm_point* line,
                                  long lineCount) {
    if (isEmpty(polygon, polygonCount) || isEmpty(line, lineCount)) {
        return false;
    }
    const Box box = boxOf(polygon, polygonCount);
    if (!meet(boxOf(line, lineCount), box)) {
        return false;
    }
    return isInside(line[0], polygon, polygonCount) ||
           pathsMeet({line, lineCount, false}, {polygon, polygonCount, true}, box);
}

bool predicates::linesMeet(const gm_point* a, long aCount, const gm_point* b, long bCount) {
    if (isEmpty(a, aCount) || isEmpty(b, bCount)) {
        return false;
    }
    const Box boxOfB = boxOf(b, bCount);
    return meet(boxOf(a, aCount), boxOfB) &&
           pathsMeet({a, aCount, false}, {b, bCount, false}, boxOfB);
}

// Counts how often the outline winds round the point, by its crossings of the ray to the right.
bool predicates::isInside(gm_point point, const gm_point* polygon, long count) {
    if (isEmpty(polygon, count)) {
        return false;
    }
    long winding = 0;
    gm_point a = polygon[count - 1];
    for (long i = 0; i < count; ++i) {
        const gm_point b = polygon[i];
        const bool rises = a.y <= point.y && point.y < b.y;
        const bool falls = b.y <= point.y && point.y < a.y;
        if (rises || falls || a.y == point.y || b.y == point.y) {
            const std::int64_t where = side(a, b, point);
            if (where == 0 && meet(boxOf(a, b), boxOf(point, point))) {
                return true;
            }
            winding += rises && where > 0 ? 1 : 0;
            winding -= falls && where < 0 ? 1 : 0;
        }
        a = b;
    }
    return winding != 0;
}
