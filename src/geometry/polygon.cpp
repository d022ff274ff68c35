#include "geometry/polygon.h"

#include <syslog.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <utility>

#include "geometry/point_list.h"

using PointList::platformCount;
using PointList::platformPoints;

namespace {

std::int16_t wrap(int value) {
    return static_cast<std::int16_t>(value);
}

// One step towards the centre; 2048 and above go down, all below goes up.
short step(short value) {
    return wrap(value < 2048 ? value + 1 : value - 1);
}

}  // namespace

Polygon::Polygon(const short* xy, int count) {
    if (xy == nullptr || count < 3) {
        repair(xy, xy == nullptr ? 0 : count);
    } else {
        initialize(xy, count);
    }
}

Polygon::Polygon(const Point& centre, short boxWidth, short boxHeight)
    : Polygon(wrap(centre.x - boxWidth / 2), wrap(centre.x - boxWidth / 2 + boxWidth),
              wrap(centre.y - boxHeight / 2), wrap(centre.y - boxHeight / 2 + boxHeight)) {}

Polygon::Polygon(int left, int right, int low, int high)
    : minX(wrap(left)), minY(wrap(low)), maxX(wrap(right)), maxY(wrap(high)) {
    width = maxX - minX;
    height = maxY - minY;
    points = {{minX, minY}, {minX, maxY}, {maxX, maxY}, {maxX, minY}};
}

Polygon::Polygon(const Point& point) : points{point} {}

Polygon::Polygon(const Point& from, const Point& to) : points{from, to} {}

void Polygon::initialize(const short* xy, int count) {
    if (xy == nullptr) {
        return;
    }
    points = PointList::fromArray(xy, count);
    computeExtent();
}

void Polygon::computeExtent() {
    minX = minY = std::numeric_limits<std::int16_t>::max();
    maxX = maxY = std::numeric_limits<std::int16_t>::min();
    for (const Point& point : points) {
        minX = std::min(minX, point.x);
        minY = std::min(minY, point.y);
        maxX = std::max(maxX, point.x);
        maxY = std::max(maxY, point.y);
    }
    width = maxX - minX;
    height = maxY - minY;
}

// Box, width and height are left at 0, and that is meant.
void Polygon::repair(const short* xy, int count) {
    if (count < 1) {
        points = {{0, 0}, {0, 1}, {1, 0}};
        return;
    }
    points = PointList::fromArray(xy, count);
    const Point last = points.back();
    const bool isOnePoint = count == 1 || areArrayPointsEqual(xy, count);
    short moved[4];
    findNewPoints(last.x, last.y, moved, isOnePoint ? 2 : 1);
    points.push_back({moved[0], moved[1]});
    if (isOnePoint) {
        points.push_back({moved[2], moved[3]});
    }
}

void Polygon::findNewPoints(short x, short y, short* out, int count) {
    if (out == nullptr) {
        return;
    }
    out[0] = step(x);
    out[1] = step(y);
    if (count == 2) {
        out[2] = step(x);
        out[3] = y;
    }
}

bool Polygon::areArrayPointsEqual(const short* xy, int count) {
    return PointList::areAllEqual(xy, count);
}

// The box stays where it was, and that is meant.
void Polygon::moveTo(const Point& target) {
    translate(getCentroid(), target);
}

void Polygon::translate(const Point& from, const Point& to) {
    for (Point& point : points) {
        point = {wrap(point.x + to.x - from.x), wrap(point.y + to.y - from.y)};
    }
}

Polygon* Polygon::clone() const {
    return new Polygon(*this);
}

Polygon* Polygon::createScaledCopy(float scale) const {
    Polygon* copy = clone();
    const auto factor = static_cast<std::int64_t>(scale * 65536.0F + (scale > 0 ? 0.5F : -0.5F));
    if (gm_transform_scale(reinterpret_cast<gm_point*>(copy->points.data()),
                           platformCount(copy->points), factor, factor) != 0) {
        syslog(LOG_WARNING, "Failed to create a scaled copy of a polygon\n");
        return copy;
    }
    // The box stays that of this polygon, and that is meant.
    copy->translate(copy->getCentroid(), getCentroid());
    return copy;
}

Point Polygon::getCentroid() const {
    gm_point centroid;
    if (gm_centroid_p(&centroid, platformPoints(points), platformCount(points)) == 0) {
        return {centroid.x, centroid.y};
    }
    return points.empty() ? Point{} : points.front();
}

std::int32_t Polygon::getPolygonArea() const {
    std::int64_t area = 0;
    if (gm_area_p(&area, platformPoints(points), platformCount(points)) != 0) {
        return 0;
    }
    return static_cast<std::int32_t>(area);
}

bool Polygon::operator==(const Polygon& other) const {
    const std::size_t count = points.size();
    if (count != other.points.size()) {
        return false;
    }
    if (count == 0) {
        return true;
    }
    const int position = other.findPosition(points.front());
    if (position < 0) {
        return false;
    }
    const auto start = static_cast<std::size_t>(position);
    bool forwards = true;
    bool backwards = true;
    for (std::size_t i = 0; i < count; ++i) {
        forwards = forwards && points[i] == other.points[(start + i) % count];
        backwards = backwards && points[i] == other.points[(start + count - i) % count];
    }
    return forwards || backwards;
}

int Polygon::findPosition(const Point& point) const {
    return PointList::findPosition(points, point);
}

bool Polygon::doesIntersect(const Polygon& other) const {
    return gm_intersect_pp(platformPoints(points), platformCount(points),
                           platformPoints(other.points), platformCount(other.points)) == 1;
}

bool Polygon::isPolygonInside(const Polygon& other) const {
    return std::all_of(other.points.begin(), other.points.end(), [this](const Point& point) {
        const gm_point asked{point.x, point.y};
        return gm_inside_p(&asked, platformPoints(points), platformCount(points)) == 1;
    });
}

std::string Polygon::toStringSvg(const std::string& style, const std::string& cssClass) const {
    return PointList::toSvg("polygon", points, style, cssClass);
}

std::string Polygon::toBoundingBoxStringSvg(const std::string& style,
                                            const std::string& cssClass) const {
    return PointList::toSvg("polygon", {{minX, minY}, {maxX, minY}, {maxX, maxY}, {minX, maxY}},
                            style, cssClass);
}

void Polygon::print() const {
    std::printf("Polygon width: %d height: %d Vertices: %s\n", width, height,
                PointList::toString(points).c_str());
}
