#pragma once

#include <vector>

#include "onvif/onvif_rule.h"

/// The rules of one camera, in the order of the request or of the profiles. A value.
class OnvifRules {
public:
    using const_iterator = std::vector<OnvifRule>::const_iterator;

    OnvifRules() = default;
    /// `cameraNbr` is the camera as the configuration counts, from 1.
    OnvifRules(const std::vector<OnvifRule>& rules, int cameraNbr);

    const std::vector<OnvifRule>& getRules() const { return rules; }
    int getCameraNbr() const { return cameraNbr; }

    const_iterator begin() const { return rules.begin(); }
    const_iterator end() const { return rules.end(); }

    friend bool operator==(const OnvifRules&, const OnvifRules&) = default;

private:
    std::vector<OnvifRule> rules;
    int cameraNbr = 0;
};
