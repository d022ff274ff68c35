#include "onvif/onvif_rule.h"

OnvifRule::OnvifRule(double ruleSensitivity, const std::vector<Point>& rulePoints,
                     const std::string& ruleName)
    : sensitivity(ruleSensitivity), points(rulePoints), name(ruleName) {}
