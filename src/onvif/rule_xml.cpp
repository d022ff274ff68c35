#include "onvif/rule_xml.h"

#include <glib.h>
#include <syslog.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "app/convert.h"
#include "app/truncate.h"
#include "config/default_values.h"
#include "device/stream_settings.h"
#include "onvif/onvif_namespaces.h"
#include "xmlnode/xmlnode.h"

namespace {

constexpr float kDefaultSensitivity = 0.8F;
constexpr int kDecimals = 2;

std::int16_t toPixel(float value) {
    return static_cast<std::int16_t>(utils::truncateToInt(value));
}

/// The rectangle that a new profile would get, in pixels of the stream.
std::vector<Point> createDefaultPoints(const StreamSettings& settings) {
    static const DefaultValues defaults = DefaultValues::ofThisBuild();
    const auto width = static_cast<float>(settings.width);
    const auto height = static_cast<float>(settings.height);
    const float marginX = (1 - defaults.includeArea->right) * 0.5F;
    const float marginY = (1 - defaults.includeArea->top) * 0.5F;
    const std::int16_t left = toPixel(marginX * width);
    const std::int16_t top = toPixel(marginY * height);
    const std::int16_t right = toPixel((1 - marginX) * width);
    const std::int16_t bottom = toPixel((1 - marginY) * height);
    return {{left, bottom}, {left, top}, {right, top}, {right, bottom}};
}

/// What is used in the place of a value that is not there, said twice.
double reportMissingSensitivity() {
    syslog(LOG_INFO, "Sensitivity attribute not found.\n");
    syslog(LOG_ERR, "Maybe<T> access with no internal value.\n");
    syslog(LOG_ERR, "Maybe<T> access with no internal value.\n");
    return 0.0;
}

Maybe<double> readSensitivity(XmlNode* config) {
    const Maybe<float> sensitivity =
        Convert::stringToFloat(xmlnode_get_attribute_value(config, "Sensitivity"));
    if (!sensitivity.hasValue()) {
        return Maybe(reportMissingSensitivity());
    }
    if (sensitivity.get() < 0.0F || sensitivity.get() > 1.0F) {
        syslog(LOG_ERR, "Sensitivity attribute is outside of 0.0 - 1.0 range.\n");
        return {};
    }
    return Maybe(static_cast<double>(sensitivity.get()));
}

bool isInRange(int coordinate) {
    return coordinate >= std::numeric_limits<std::int16_t>::min() &&
           coordinate <= std::numeric_limits<std::int16_t>::max();
}

Maybe<Point> readPoint(XmlNode* node) {
    if (node == nullptr) {
        syslog(LOG_ERR, "Root point XML pointer was NULL.\n");
        return {};
    }
    const Maybe<int> x = Convert::stringToInt(xmlnode_get_attribute_value(node, "x"));
    const Maybe<int> y = Convert::stringToInt(xmlnode_get_attribute_value(node, "y"));
    if (!x.hasValue() || !y.hasValue()) {
        syslog(LOG_ERR, "Could not find/convert x/y point attribute.\n");
        return {};
    }
    if (!isInRange(x.get()) || !isInRange(y.get())) {
        syslog(LOG_ERR, "Point value is outside the range of int16_t.\n");
        return {};
    }
    return Maybe(Point{static_cast<std::int16_t>(x.get()), static_cast<std::int16_t>(y.get())});
}

Maybe<std::vector<Point>> readPoints(XmlNode* config) {
    std::vector<Point> points;
    g_autoptr(GList) nodes = xmlnode_find_tags(config, "Point");
    for (const GList* entry = nodes; entry != nullptr; entry = entry->next) {
        const Maybe<Point> point = readPoint(static_cast<XmlNode*>(entry->data));
        if (!point.hasValue()) {
            syslog(LOG_ERR, "Point vector could not be created due to missing point.\n");
            return {};
        }
        points.push_back(point.get());
    }
    return Maybe(points);
}

Maybe<OnvifRule> readConfig(XmlNode* config, const std::string& name) {
    const Maybe<double> sensitivity = readSensitivity(config);
    if (!sensitivity.hasValue()) {
        return {};
    }
    const Maybe<std::vector<Point>> points = readPoints(config);
    if (!points.hasValue()) {
        syslog(LOG_ERR, "Could not create points.\n");
        return {};
    }
    return Maybe(OnvifRule(sensitivity.get(), points.get(), name));
}

Maybe<OnvifRule> readRule(XmlNode* node, const StreamSettings& settings) {
    if (node == nullptr) {
        syslog(LOG_ERR, "Root rule XML pointer was NULL.\n");
        return {};
    }
    const char* name = xmlnode_get_attribute_value(node, "Name");
    if (name == nullptr) {
        syslog(LOG_ERR, "Name attribute not found.\n");
        return {};
    }
    XmlNode* config = xmlnode_find_tag(node, "MotionRegionConfig");
    return config != nullptr
               ? readConfig(config, name)
               : Maybe(OnvifRule(kDefaultSensitivity, createDefaultPoints(settings), name));
}

std::string pointToXml(const Point& point) {
    return "\t\t\t\t\t\t<tt:Point x=\"" + Convert::intToString(point.x) + "\" y=\"" +
           Convert::intToString(point.y) + "\"/>\n";
}

std::string pointsToXml(const OnvifRule& rule) {
    std::string xml;
    for (const Point& point : rule) {
        xml += pointToXml(point);
    }
    return xml;
}

std::string ruleToXml(const OnvifRule& rule) {
    return "\t<tt:Rule Name=\"" + rule.getName() +
           "\" Type=\"tt:MotionRegionDetector\" xmlns:tt=\"" + kOnvifSchema + "\" xmlns:axt=\"" +
           kOnvifAnalytics +
           "\">\n"
           "\t\t<tt:Parameters>\n"
           "\t\t\t<tt:ElementItem Name=\"MotionRegion\">\n"
           "\t\t\t\t<axt:MotionRegionConfig Sensitivity=\"" +
           Convert::doubleToString(rule.getSensitivity(), kDecimals) +
           "\">\n"
           "\t\t\t\t\t<tt:Polygon>\n" +
           pointsToXml(rule) +
           "\t\t\t\t\t</tt:Polygon>\n"
           "\t\t\t\t</axt:MotionRegionConfig>\n"
           "\t\t\t</tt:ElementItem>\n"
           "\t\t</tt:Parameters>\n"
           "\t</tt:Rule>\n";
}

}  // namespace

Maybe<OnvifRules> RuleXml::read(_XmlNode* root, int cameraNbr, const StreamSettings& settings) {
    if (root == nullptr) {
        syslog(LOG_ERR, "Root XML pointer was NULL.\n");
        return {};
    }
    std::vector<OnvifRule> rules;
    g_autoptr(GList) nodes = xmlnode_find_tags(root, "Rule");
    for (const GList* entry = nodes; entry != nullptr; entry = entry->next) {
        const Maybe<OnvifRule> rule = readRule(static_cast<XmlNode*>(entry->data), settings);
        if (!rule.hasValue()) {
            syslog(LOG_ERR, "Rule was not found.\n");
            return {};
        }
        rules.push_back(rule.get());
    }
    if (rules.empty()) {
        syslog(LOG_ERR, "No rules found.\n");
        return {};
    }
    return Maybe(OnvifRules(rules, cameraNbr));
}

std::string RuleXml::write(const OnvifRules& rules) {
    std::string xml = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<GetRules>\n";
    for (const OnvifRule& rule : rules) {
        xml += ruleToXml(rule);
    }
    return xml + "</GetRules>";
}
