#include "onvif/convert_onvif.h"

#include <syslog.h>

#include <algorithm>
#include <cmath>

#include "app/convert.h"
#include "app/truncate.h"
#include "config/parse_config.h"

namespace {

constexpr double kNothing = 1e-5F;  // in single precision: 9.999999747378752e-06
// The filter values of a sensitivity of nearly 0.0.
constexpr double kLongestTime = 5.0;
constexpr double kLongestDistance = 20.0;
constexpr double kGreatestSize = 25.0;
// Smaller ones would be refused in a configuration.
constexpr int kShortestDistance = 3;
constexpr int kSmallestSize = 3;

/// The share of the greatest filter value, rounded.
int scale(double insensitivity, double greatest) {
    return utils::truncateToInt(std::fma(insensitivity, greatest, 0.5));
}

std::string timeEntry(int seconds) {
    return R"({"data": )" + Convert::intToString(seconds) +
           R"(,"type": "timeShortLivedLimit", "active": true  },)";
}

std::string distanceEntry(int percent) {
    return R"({"data": )" + Convert::intToString(percent) +
           R"(,"type": "distanceSwayingObject", "active": true  },)";
}

std::string sizeEntry(int percent) {
    const std::string number = Convert::intToString(percent);
    return R"({"data":[ )" + number + "," + number +
           R"(],"type": "sizePercentage", "active": true })";
}

double unscale(int value, double greatest) {
    return value < greatest ? (greatest - value) / greatest : 0.0;
}

double sizeToSensitivity(const json_t* filter) {
    const auto [size, isActive] = ParseConfig::parseFilterIntPair(filter);
    return isActive
               ? std::max(unscale(size.first, kGreatestSize), unscale(size.second, kGreatestSize))
               : 1.0;
}

double numberToSensitivity(const json_t* filter, double greatest) {
    const auto [value, isActive] = ParseConfig::parseFilterInt(filter);
    return isActive ? unscale(value, greatest) : 1.0;
}

/// What one filter allows; 1.0 for one that says nothing of sensitivity.
double filterToSensitivity(const json_t* filter) {
    switch (ParseConfig::getFilterType(filter)) {
        case ParseConfig::kSizePercentage:
            return sizeToSensitivity(filter);
        case ParseConfig::kTimeShortLivedLimit:
            return numberToSensitivity(filter, kLongestTime);
        case ParseConfig::kDistanceSwayingObject:
            return numberToSensitivity(filter, kLongestDistance);
        case ParseConfig::kExcludeArea:
            return 1.0;
        default:
            syslog(LOG_WARNING, "Unknown filter type\n");
            return 1.0;
    }
}

}  // namespace

// Time and size begin at the same insensitivity, 0.1, and distance later: so the size entry, which
// has no comma, is there whenever another one is.
std::string Convert::Onvif::sensitivityToFilters(double sensitivity) {
    if (std::abs(sensitivity) < kNothing) {
        return "[]";
    }
    const double insensitivity = 1.0 - sensitivity;
    const int time = scale(insensitivity, kLongestTime);
    const int distance = scale(insensitivity, kLongestDistance);
    const int size = scale(insensitivity, kGreatestSize);
    std::string filters = "[";
    filters += time > 0 ? timeEntry(time) : "";
    filters += distance >= kShortestDistance ? distanceEntry(distance) : "";
    filters += size >= kSmallestSize ? sizeEntry(size) : "";
    return filters + "]";
}

double Convert::Onvif::filtersToSensitivity(const json_t* filters) {
    double sensitivity = 1.0;
    std::size_t index = 0;
    while (const json_t* filter = json_array_get(filters, index++)) {
        sensitivity = std::min(sensitivity, filterToSensitivity(filter));
    }
    return sensitivity;
}
