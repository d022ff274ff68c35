#pragma once

#include <string>
#include <vector>

#include "geometry/point.h"

/// A motion-region rule as an ONVIF client sees it: a name, a polygon, a sensitivity. A value.
class OnvifRule {
public:
    using const_iterator = std::vector<Point>::const_iterator;

    /// No name, no points, sensitivity 0.0.
    OnvifRule() = default;
    /// `sensitivity` is 0.0..1.0; `points` are in pixels of the client's stream.
    OnvifRule(double sensitivity, const std::vector<Point>& points, const std::string& name);

    /// Identifies the rule within its camera.
    const std::string& getName() const { return name; }
    double getSensitivity() const { return sensitivity; }

    /// The points of the polygon.
    const_iterator begin() const { return points.begin(); }
    const_iterator end() const { return points.end(); }

    /// Sensitivities are compared exactly.
    friend bool operator==(const OnvifRule&, const OnvifRule&) = default;

private:
    double sensitivity = 0.0;
    std::vector<Point> points;
    std::string name;
};
