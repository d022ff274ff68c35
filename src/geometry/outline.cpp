#include "geometry/outline.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kLowest = -4096;
constexpr int kHighest = 4096;

// Four points, as x, y, x, y and so on.
constexpr std::size_t kPointsAtOnce = 4;
typedef short Lanes __attribute__((vector_size(kPointsAtOnce * sizeof(Point))));

Lanes load(const Point* points) {
    Lanes lanes;
    std::memcpy(&lanes, points, sizeof lanes);
    return lanes;
}

Lanes exchangeHalves(Lanes lanes) {
    return __builtin_shufflevector(lanes, lanes, 4, 5, 6, 7, 0, 1, 2, 3);
}

Outline::Box boxOfFew(const std::vector<Point>& points) {
    Outline::Box box{points[0].x, points[0].y, points[0].x, points[0].y};
    for (const Point& point : points) {
        box.minX = std::min(box.minX, point.x);
        box.minY = std::min(box.minY, point.y);
        box.maxX = std::max(box.maxX, point.x);
        box.maxY = std::max(box.maxY, point.y);
    }
    return box;
}

// Above 0 when the point lies to the left of the way from a to b, 0 when on its line.
int side(const Point& a, const Point& b, const Point& point) {
    return (b.x - a.x) * (point.y - a.y) - (b.y - a.y) * (point.x - a.x);
}

// By how much side() changes at most when its point moves by `room` in x and in y.
int slack(const Point& a, const Point& b, int room) {
    return room * (std::abs(b.x - a.x) + std::abs(b.y - a.y));
}

Outline::Box boxOf(const Point& a, const Point& b) {
    return {std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.x, b.x), std::max(a.y, b.y)};
}

// Whether the line through a and b keeps c and d on one side of it, with room.
bool separates(const Point& a, const Point& b, const Point& c, const Point& d, int room) {
    const int sideOfC = side(a, b, c);
    const int sideOfD = side(a, b, d);
    const int least = slack(a, b, room);
    return (sideOfC > least && sideOfD > least) || (sideOfC < -least && sideOfD < -least);
}

bool edgesApart(const Point& a, const Point& b, const Point& c, const Point& d, int room) {
    return !Outline::meet(boxOf(a, b), boxOf(c, d), room) || separates(a, b, c, d, room) ||
           separates(c, d, a, b, room);
}

bool edgesMeet(const Point& a, const Point& b, const Point& c, const Point& d) {
    return !edgesApart(a, b, c, d, 0);
}

bool turnsBack(const Point& a, const Point& b, const Point& c) {
    const int ahead = (b.x - a.x) * (c.x - b.x) + (b.y - a.y) * (c.y - b.y);
    return side(a, b, c) == 0 && ahead <= 0;
}

bool onOneSide(int a, int b) {
    return (a > 0 && b > 0) || (a < 0 && b < 0);
}

// Notes where the edges from a to b and from c to d meet.
void addCrossing(const Point& a, const Point& b, const Point& c, const Point& d,
                 Outline::CommonCorners& corners) {
    const int sideOfA = side(c, d, a);
    const int sideOfB = side(c, d, b);
    if (onOneSide(sideOfA, sideOfB) || onOneSide(side(a, b, c), side(a, b, d))) {
        return;
    }
    corners.meet = true;
    if (sideOfA == sideOfB) {
        corners.areAll = false;
        return;
    }
    const auto share = static_cast<float>(sideOfA) / static_cast<float>(sideOfA - sideOfB);
    const auto dx = static_cast<float>(b.x - a.x);
    const auto dy = static_cast<float>(b.y - a.y);
    corners.add({static_cast<std::int16_t>(a.x + static_cast<int>(share * dx)),
                 static_cast<std::int16_t>(a.y + static_cast<int>(share * dy))});
}

void addCrossings(const std::vector<Point>& a, const std::vector<Point>& b,
                  const Outline::Box& overlap, Outline::CommonCorners& corners) {
    Point from = a.back();
    for (const Point& to : a) {
        const Outline::Box box = boxOf(from, to);
        if (Outline::meet(box, overlap)) {
            Point start = b.back();
            for (const Point& end : b) {
                if (Outline::meet(box, boxOf(start, end))) {
                    addCrossing(from, to, start, end, corners);
                }
                start = end;
            }
        }
        from = to;
    }
}

void addVerticesInside(const std::vector<Point>& a, const std::vector<Point>& b,
                       const Outline::Box& overlap, Outline::CommonCorners& corners) {
    for (const Point& point : a) {
        if (Outline::holds(overlap, point) &&
            Outline::locate(point, b, 0) == Outline::Where::kInside) {
            corners.meet = true;
            corners.add(point);
        }
    }
}

// Drops the points that a hull's chain to the right of them leaves out, and appends one.
void extendChain(std::vector<Point>& chain, std::size_t start, const Point& point) {
    while (chain.size() >= start + 2 && side(chain[chain.size() - 2], chain.back(), point) <= 0) {
        chain.pop_back();
    }
    chain.push_back(point);
}

std::int64_t twiceArea(const std::vector<Point>& points) {
    std::int64_t sum = 0;
    Point a = points.back();
    for (const Point& b : points) {
        sum += a.x * b.y - b.x * a.y;
        a = b;
    }
    return sum;
}

}  // namespace

bool Outline::Box::isInPicture() const {
    return minX >= kLowest && minY >= kLowest && maxX <= kHighest && maxY <= kHighest;
}

Outline::Box Outline::boxOf(const std::vector<Point>& points) {
    if (points.size() < kPointsAtOnce) {
        return boxOfFew(points);
    }
    Lanes least = load(&points[0]);
    Lanes most = least;
    const auto include = [&](const Point& first) {
        const Lanes lanes = load(&first);
        least = lanes < least ? lanes : least;
        most = lanes > most ? lanes : most;
    };
    for (std::size_t i = kPointsAtOnce; i + kPointsAtOnce <= points.size(); i += kPointsAtOnce) {
        include(points[i]);
    }
    include(points[points.size() - kPointsAtOnce]);
    const Lanes otherLeast = exchangeHalves(least);
    const Lanes otherMost = exchangeHalves(most);
    least = otherLeast < least ? otherLeast : least;
    most = otherMost > most ? otherMost : most;
    return {std::min(least[0], least[2]), std::min(least[1], least[3]), std::max(most[0], most[2]),
            std::max(most[1], most[3])};
}

bool Outline::areDistinct(const std::vector<Point>& a, const std::vector<Point>& b) {
    const auto isIn = [](const Point& point, auto begin, auto end) {
        return std::find(begin, end, point) != end;
    };
    for (auto point = a.begin(); point != a.end(); ++point) {
        if (isIn(*point, a.begin(), point) || isIn(*point, b.begin(), b.end())) {
            return false;
        }
    }
    return true;
}

// Counts the outline's crossings of the ray to the right of the point. Edges that keep clear of the
// ray and of the point's surroundings do not matter.
Outline::Where Outline::locate(const Point& point, const std::vector<Point>& outline, int room) {
    int winding = 0;
    int fromX = outline.back().x - point.x;
    int fromY = outline.back().y - point.y;
    for (const Point& to : outline) {
        const int toX = to.x - point.x;
        const int toY = to.y - point.y;
        // Below -room when the edge lies to the left of the point, below it or above it.
        const int reach =
            std::min(std::max(fromX, toX), std::min(std::max(fromY, toY), -std::min(fromY, toY)));
        if (reach >= -room) {
            const int dx = toX - fromX;
            const int dy = toY - fromY;
            const int where = dy * fromX - dx * fromY;
            if (std::abs(where) <= room * (std::abs(dx) + std::abs(dy)) &&
                std::min(fromX, toX) <= room) {
                return Where::kNear;
            }
            winding += static_cast<int>((fromY <= 0) & (toY > 0) & (where > 0));
            winding -= static_cast<int>((toY <= 0) & (fromY > 0) & (where < 0));
        }
        fromX = toX;
        fromY = toY;
    }
    return winding != 0 ? Where::kInside : Where::kOutside;
}

bool Outline::areApart(const std::vector<Point>& a, const std::vector<Point>& b, int room) {
    Point from = a.back();
    for (const Point& to : a) {
        Point start = b.back();
        for (const Point& end : b) {
            if (!edgesApart(from, to, start, end, room)) {
                return false;
            }
            start = end;
        }
        from = to;
    }
    return true;
}

bool Outline::isParted(const std::vector<Point>& hull, const std::vector<Point>& outline) {
    Point a = hull.back();
    for (const Point& b : hull) {
        if (std::all_of(outline.begin(), outline.end(),
                        [&](const Point& point) { return side(a, b, point) < 0; })) {
            return true;
        }
        a = b;
    }
    return false;
}

void Outline::CommonCorners::add(const Point& point) {
    if (count == points.size()) {
        areAll = false;
        return;
    }
    points[count++] = point;
}

Point Outline::CommonCorners::mean() const {
    int x = 0;
    int y = 0;
    for (const Point& point : list()) {
        x += point.x;
        y += point.y;
    }
    const int divisor = static_cast<int>(count);
    return {static_cast<std::int16_t>(x / divisor), static_cast<std::int16_t>(y / divisor)};
}

Outline::CommonCorners Outline::findCommonCorners(const std::vector<Point>& a,
                                                  const std::vector<Point>& b, const Box& overlap) {
    CommonCorners corners;
    addVerticesInside(a, b, overlap, corners);
    addVerticesInside(b, a, overlap, corners);
    addCrossings(b, a, overlap, corners);
    return corners;
}

bool Outline::isSimple(const std::vector<Point>& points) {
    const std::size_t count = points.size();
    const auto at = [&](std::size_t i) { return points[i % count]; };
    for (std::size_t i = 0; i < count; ++i) {
        if (count < 3 || turnsBack(at(i), at(i + 1), at(i + 2))) {
            return false;
        }
        const std::size_t last = i == 0 ? count - 1 : count;
        for (std::size_t j = i + 2; j < last; ++j) {
            if (edgesMeet(at(i), at(i + 1), at(j), at(j + 1))) {
                return false;
            }
        }
    }
    return count >= 3;
}

std::vector<Point> Outline::convexHull(std::vector<Point> points) {
    std::sort(points.begin(), points.end(), std::less<Point>());
    points.erase(std::unique(points.begin(), points.end()), points.end());
    if (points.size() < 3) {
        return points;
    }
    std::vector<Point> hull;
    for (const Point& point : points) {
        extendChain(hull, 0, point);
    }
    hull.pop_back();
    const std::size_t start = hull.size();
    for (auto point = points.rbegin(); point != points.rend(); ++point) {
        extendChain(hull, start, *point);
    }
    hull.pop_back();
    return hull;
}

bool Outline::isConvex(const std::vector<Point>& points) {
    return isSimple(points) &&
           std::abs(twiceArea(points)) == std::abs(twiceArea(convexHull(points)));
}
