#include "onvif/rule_profile.h"

#include <syslog.h>

#include <vector>

#include "app/convert.h"
#include "app/status.h"
#include "config/parse_config.h"
#include "device/stream_settings.h"
#include "onvif/convert_onvif.h"
#include "onvif/transform_onvif.h"

namespace {

constexpr int kDecimals = 2;

std::string pointToJson(const Point& point, const StreamSettings& settings) {
    const auto [x, y] = Transform::Onvif::fromPixelValue(point.x, point.y, settings);
    return "[" + Convert::doubleToString(x, kDecimals) + ", " +
           Convert::doubleToString(y, kDecimals) + "]";
}

std::string pointsToJson(const OnvifRule& rule, const StreamSettings& settings) {
    std::string points;
    for (const Point& point : rule) {
        points += (points.empty() ? "" : ",") + pointToJson(point, settings);
    }
    return points;
}

double getCoordinate(json_t* point, int index) {
    return json_number_value(ParseConfig::getElementInArray(point, index));
}

std::vector<Point> triggerToPoints(json_t* data, const StreamSettings& settings) {
    std::vector<Point> points;
    for (std::size_t i = 0; i < json_array_size(data); ++i) {
        json_t* point = json_array_get(data, i);
        const double x = getCoordinate(point, 0);
        const double y = getCoordinate(point, 1);
        points.push_back(Transform::Onvif::toPixelValue(x, y, settings));
    }
    return points;
}

Maybe<OnvifRule> tryProfileToRule(json_t* profile, const StreamSettings& settings) {
    try {
        return Maybe(profileToRule(profile, settings));
    } catch (const StatusException& failure) {
        syslog(LOG_WARNING, "%s\n", failure.what());
        return {};
    }
}

}  // namespace

std::string ruleToProfileJson(const OnvifRule& rule, int uid, int cameraNbr,
                              const StreamSettings& settings) {
    return R"({"name": ")" + rule.getName() + R"(", "camera": )" + Convert::intToString(cameraNbr) +
           R"(,"uid": )" + Convert::intToString(uid) +
           R"(,"triggers": [{ "type": "includeArea", "data": [)" + pointsToJson(rule, settings) +
           R"(]}],"filters": )" + Convert::Onvif::sensitivityToFilters(rule.getSensitivity()) + "}";
}

OnvifRule profileToRule(json_t* profile, const StreamSettings& settings) {
    utils::throwIf(profile == nullptr, "Root rule JSON pointer was NULL.", StatusMalformedJson);
    const double sensitivity =
        Convert::Onvif::filtersToSensitivity(ParseConfig::getFilters(profile));
    const std::string name = ParseConfig::getProfileName(profile);
    return {sensitivity, triggerToPoints(ParseConfig::getTriggerData(profile), settings), name};
}

Maybe<OnvifRules> profilesToRules(const json_t* profiles, int cameraNbr,
                                  const StreamSettings& settings) {
    if (profiles == nullptr) {
        syslog(LOG_ERR, "Root JSON pointer was NULL.\n");
        return {};
    }
    std::vector<OnvifRule> rules;
    for (std::size_t i = 0; i < json_array_size(profiles); ++i) {
        json_t* profile = json_array_get(profiles, i);
        if (ParseConfig::getCameraNbr(profile) != cameraNbr) {
            continue;
        }
        const Maybe<OnvifRule> rule = tryProfileToRule(profile, settings);
        if (!rule.hasValue()) {
            syslog(LOG_ERR, "Rule was not found.\n");
            return {};
        }
        rules.push_back(rule.get());
    }
    return Maybe(OnvifRules(rules, cameraNbr));
}
