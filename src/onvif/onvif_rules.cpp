#include "onvif/onvif_rules.h"

OnvifRules::OnvifRules(const std::vector<OnvifRule>& ruleList, int camera)
    : rules(ruleList), cameraNbr(camera) {}
