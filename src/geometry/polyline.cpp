#include "geometry/polyline.h"

#include <cstdio>

#include "geometry/geometry.h"
#include "geometry/point_list.h"
#include "geometry/polygon.h"

using PointList::platformCount;
using PointList::platformPoints;

Polyline::Polyline(const short* xy, int count) : points(PointList::fromArray(xy, count)) {}

Polyline::Polyline(const Point& from, const Point& to) : points{from, to} {}

Polyline* Polyline::clone() const {
    return new Polyline(*this);
}

bool Polyline::operator==(const Polyline& other) const {
    return points == other.points;
}

bool Polyline::operator!=(const Polyline& other) const {
    return !(*this == other);
}

int Polyline::findPosition(const Point& point) const {
    return PointList::findPosition(points, point);
}

// The polygon's side of the question stands here too: a polygon knows nothing of lines.
bool Polygon::doesIntersect(const Polyline& line) const {
    return gm_intersect_ps(platformPoints(points), platformCount(points),
                           platformPoints(line.points), platformCount(line.points)) == 1;
}

bool Polyline::doesIntersect(const Polygon& polygon) const {
    return polygon.doesIntersect(*this);
}

bool Polyline::doesIntersect(const Polyline& other) const {
    return gm_intersect_ss(platformPoints(other.points), platformCount(other.points),
                           platformPoints(points), platformCount(points)) == 1;
}

std::string Polyline::toStringSvg(const std::string& style, const std::string& cssClass) const {
    return PointList::toSvg("polyline", points, style, cssClass);
}

std::string Polyline::toString() const {
    return "Polyline " + PointList::toString(points);
}

void Polyline::print() const {
    std::printf("%s\n", toString().c_str());
}

bool Polyline::areArrayPointsEqual(const short* xy, int count) {
    return PointList::areAllEqual(xy, count);
}
