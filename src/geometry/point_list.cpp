#include "geometry/point_list.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr double kUnitSpace = 0.000244140625;

}  // namespace

std::vector<Point> PointList::fromArray(const short* xy, int count) {
    std::vector<Point> points;
    if (xy != nullptr && count > 0) {
        points.resize(static_cast<std::size_t>(count));
        for (std::size_t i = 0; i < points.size(); ++i) {
            points[i] = {xy[2 * i], xy[2 * i + 1]};
        }
    }
    return points;
}

bool PointList::areAllEqual(const short* xy, int count) {
    if (xy == nullptr || count < 2) {
        return false;
    }
    const std::vector<Point> points = fromArray(xy, count);
    return std::all_of(points.begin(), points.end(),
                       [&](const Point& point) { return point == points.front(); });
}

int PointList::findPosition(const std::vector<Point>& points, const Point& point) {
    const auto found = std::find(points.begin(), points.end(), point);
    return found == points.end() ? -1 : static_cast<int>(found - points.begin());
}

std::string PointList::toSvg(std::string_view element, const std::vector<Point>& points,
                             const std::string& style, const std::string& cssClass) {
    std::string svg = "<";
    svg.append(element).append(" class=\"").append(cssClass).append("\" points=\"");
    for (const Point& point : points) {
        char pair[32];
        std::snprintf(pair, sizeof pair, " %.3f,%.3f", point.x * kUnitSpace, point.y * kUnitSpace);
        svg += pair;
    }
    svg += "\"";
    if (!style.empty()) {
        svg += " style=\"" + style + "\" ";
    }
    svg += " />\n";
    return svg;
}

std::string PointList::toString(const std::vector<Point>& points) {
    std::string text;
    for (const Point& point : points) {
        text += text.empty() ? "" : ", ";
        text += point.toString();
    }
    return text;
}
