// The operations of a polygon that give several polygons, and how the clipper is fed for them.
#include <algorithm>
#include <cstdlib>
#include <functional>

#include "geometry/point_list.h"
#include "geometry/polygon.h"
#include "geometry/polygon_container.h"

using PointList::platformCount;
using PointList::platformPoints;

namespace {

// The picture's extent.
constexpr std::int16_t kLowest = -4096;
constexpr std::int16_t kHighest = 4096;

std::int16_t wrap(int value) {
    return static_cast<std::int16_t>(value);
}

// Whether no two points of both lists are equal: the usual case, told without a set.
bool areDistinct(const std::vector<Point>& a, const std::vector<Point>& b) {
    std::vector<Point> all(a);
    all.insert(all.end(), b.begin(), b.end());
    std::sort(all.begin(), all.end(), std::less<Point>());
    return std::adjacent_find(all.begin(), all.end()) == all.end();
}

// The arrays of a clip result, released with free() as the library asks.
struct ClipResult {
    gm_point** pieces = nullptr;
    std::int64_t* lengths = nullptr;
    std::int64_t count = 0;

    ClipResult() = default;
    ClipResult(const ClipResult&) = delete;
    ClipResult& operator=(const ClipResult&) = delete;
    ~ClipResult() {
        for (std::int64_t i = 0; i < count; ++i) {
            std::free(pieces[i]);
        }
        std::free(pieces);
        std::free(lengths);
    }

    void appendTo(PolygonContainer& out) const {
        for (std::int64_t i = 0; i < count; ++i) {
            out.insert(new Polygon(&pieces[i]->x, static_cast<int>(lengths[i])));
        }
    }
};

// The square ring at distance `radius` round a point, cut off at the picture's border. In 16 bits.
struct Ring {
    std::int16_t left, right, low, high;

    Ring(const Point& centre, int radius)
        : left(std::max(wrap(centre.x - radius), kLowest)),
          right(std::min(wrap(centre.x + radius), kHighest)),
          low(std::max(wrap(centre.y - radius), kLowest)),
          high(std::min(wrap(centre.y + radius), kHighest)) {}
};

// The first unused point of a ring; false when there is none.
bool findFree(const Ring& ring, const std::set<Point>& used, Point& found) {
    const auto isFree = [&](int x, int y) {
        found = {wrap(x), wrap(y)};
        return used.count(found) == 0;
    };
    for (int x = ring.left; x <= ring.right; ++x) {
        if (isFree(x, ring.high) || isFree(x, ring.low)) {
            return true;
        }
    }
    for (int y = ring.low + 1; y <= ring.high - 1; ++y) {
        if (isFree(ring.left, y) || isFree(ring.right, y)) {
            return true;
        }
    }
    return false;
}

}  // namespace

void Polygon::intersect(const Polygon& other, PolygonContainer& out) const {
    gmClipWrapper(*this, other, GM_CLIP_INTERSECTION, out);
}

void Polygon::cutOff(const Polygon& other, PolygonContainer& out) const {
    gmClipWrapper(*this, other, GM_CLIP_CUT, out);
}

void Polygon::gmClipWrapper(const Polygon& subject, const Polygon& clip, gm_clip_e mode,
                            PolygonContainer& out) const {
    Polygon copy = clip;
    adjustDuplicates(subject, copy);
    ClipResult result;
    if (gm_clip_pp(&result.pieces, &result.lengths, &result.count, platformPoints(subject.points),
                   platformCount(subject.points), platformPoints(copy.points),
                   platformCount(copy.points), mode) < 0) {
        return;
    }
    result.appendTo(out);
}

void Polygon::adjustDuplicates(const Polygon& subject, Polygon& clip) {
    if (areDistinct(subject.points, clip.points)) {
        return;
    }
    std::set<Point> used(subject.points.begin(), subject.points.end());
    std::vector<std::size_t> duplicates;
    for (std::size_t i = 0; i < clip.points.size(); ++i) {
        if (!used.insert(clip.points[i]).second) {
            duplicates.push_back(i);
        }
    }
    for (const std::size_t i : duplicates) {
        clip.points[i] = findClosestNonDuplicate(clip.points[i], used);
        used.insert(clip.points[i]);
    }
}

Point Polygon::findClosestNonDuplicate(const Point& point, const std::set<Point>& used) {
    Point found;
    for (int radius = 1; !findFree(Ring(point, radius), used, found); ++radius) {
    }
    return found;
}
