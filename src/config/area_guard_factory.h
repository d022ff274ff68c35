#pragma once

#include <utility>

#include "config/guard_factory.h"
#include "geometry/point.h"

/// The general way of reading a profile: with perspective bars and every type of filter.
class AreaGuardFactory : public GuardFactory {
public:
    AreaGuardFactory(int cameraRotation, const DataBoundaries& boundaries);

    void createOneExclusionFilter(const json_t& filter) override;
    void parseJson(const json_t& profile) override;

    /// A missing `perspective` leaves the bars empty.
    void createPerspectiveBars(const json_t& profile);
    void createOnePerspectiveBar(const json_t& bar);
    /// The two ends of a bar, in scene units.
    std::pair<Point, Point> createPerspectivePoints(const json_t& points) const;

    void createSizeFilterPerspective(const json_t& filter);

private:
    Point createPerspectivePoint(const json_t* point) const;
};
