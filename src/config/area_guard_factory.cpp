#include "config/area_guard_factory.h"

#include <syslog.h>

#include "config/json_parser.h"
#include "config/parse_config.h"
#include "filters/perspective.h"
#include "filters/perspective_bar_utils.h"
#include "filters/size_filter_perspective.h"

AreaGuardFactory::AreaGuardFactory(int rotation, const DataBoundaries& limits)
    : GuardFactory(rotation, limits) {}

void AreaGuardFactory::parseJson(const json_t& profile) {
    try {
        parseGuardData(profile);
        createPerspectiveBars(profile);
        createExclusionFilters(profile);
        createTriggers(profile);
        createPresets(profile);
        createAlarmOverlay(profile);
        validateConfiguration();
    } catch (const StatusException& failure) {
        status = failure.status;
        syslog(LOG_ERR, "%s\n", failure.what());
    }
}

void AreaGuardFactory::createOneExclusionFilter(const json_t& filter) {
    const char* word = nullptr;
    throwIf(!JsonParser::unpack(&filter, "{s:s}", "type", &word),
            "Could not unpack exclusion filter name", StatusMissingParameter);
    switch (ParseConfig::getFilterType(&filter)) {
        case ParseConfig::kSizePercentage:
            createSizeFilterPercent(filter);
            break;
        case ParseConfig::kSizePerspective:
            createSizeFilterPerspective(filter);
            break;
        case ParseConfig::kTimeShortLivedLimit:
            createObjectLifetimeFilter(filter);
            break;
        case ParseConfig::kDistanceSwayingObject:
            createSwayingFilter(filter);
            break;
        case ParseConfig::kExcludeArea:
            createExcludeArea(filter);
            break;
        default:
            throwIf(true, std::string("Unknown exclusion filter: ") + word, StatusInvalidParameter);
    }
}

void AreaGuardFactory::createSizeFilterPerspective(const json_t& filter) {
    int width = 0;
    int height = 0;
    int active = 0;
    throwIf(
        !JsonParser::unpack(&filter, "{s:[ii!], s:b}", "data", &width, &height, "active", &active),
        "Could not unpack a size filter perspective", StatusMissingParameter);
    sizePerspectiveActive = active != 0;
    throwIf(width < 0 || height < 0, "Incorrect parameter value for size filter perspective",
            StatusInvalidParameter);
    perspectiveBarUtils::validatePerspectiveBars(perspectiveBars, cameraRotation);
    exclusionFilters.push_back(
        new SizeFilterPerspective(uid, width, height, Perspective(perspectiveBars), active != 0));
}

void AreaGuardFactory::createPerspectiveBars(const json_t& profile) {
    const json_t* bars = JsonParser::getArray(&profile, "perspective");
    if (json_array_size(bars) == 0) {
        return;
    }
    for (std::size_t i = 0; i < json_array_size(bars); ++i) {
        const json_t* bar = json_array_get(bars, i);
        throwIf(bar == nullptr, "Could not get the perspective bar", StatusMissingParameter);
        createOnePerspectiveBar(*bar);
    }
    perspectiveBarUtils::validatePerspectiveBars(perspectiveBars, cameraRotation);
}

void AreaGuardFactory::createOnePerspectiveBar(const json_t& bar) {
    const char* type = nullptr;
    int height = 0;
    throwIf(!JsonParser::unpack(&bar, "{s:s, s:i}", "type", &type, "height", &height),
            "Could not unpack a perspective bar", StatusMissingParameter);
    const json_t* points = JsonParser::getArray(&bar, "data");
    throwIf(points == nullptr, "Could not get the data for a perspective bar",
            StatusInvalidParameter);
    throwIf(std::string(type) != "bar", "Unknown type of perspective.", StatusInvalidParameter);
    const auto [bottom, top] = createPerspectivePoints(*points);
    if (cameraRotation == 90 || cameraRotation == 270) {
        perspectiveBars.emplace_back(bottom.x, top.x, height);
    } else {
        perspectiveBars.emplace_back(bottom.y, top.y, height);
    }
}

std::pair<Point, Point> AreaGuardFactory::createPerspectivePoints(const json_t& points) const {
    throwIf(json_array_size(&points) != 2, "A perspective bar should have two points",
            StatusInvalidParameter);
    const Point bottom = createPerspectivePoint(json_array_get(&points, 0));
    return {bottom, createPerspectivePoint(json_array_get(&points, 1))};
}

Point AreaGuardFactory::createPerspectivePoint(const json_t* point) const {
    throwIf(point == nullptr, "Could not get data for a perspective bar", StatusMissingParameter);
    double x = 0;
    double y = 0;
    throwIf(!JsonParser::unpack(point, "[FF!]", &x, &y),
            "Could not unpack a point for a perspective bar", StatusInvalidParameter);
    if (x < -1.0 || x > 1.0 || y < -1.0 || y > 1.0) {
        syslog(LOG_WARNING, "Perspective parameter is out of bounds: x=%f y=%f\n", x, y);
        throwIf(true, "Incorrect perspective point value", StatusInvalidParameter);
    }
    return {static_cast<std::int16_t>(toFixedPoint(x)), static_cast<std::int16_t>(toFixedPoint(y))};
}
