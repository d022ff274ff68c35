#pragma once

#include <string>
#include <vector>

#include "app/maybe.h"
#include "onvif/config_conversion_result.h"
#include "onvif/onvif_rules.h"

struct _XmlNode;
struct StreamSettings;

/// The bridge between ONVIF rules and the profiles of the configuration document.
///
/// It keeps nothing and locks nothing. Each operation on a document reads the file anew and hands
/// back a whole document as text; it never writes the file and never touches what runs. Reading,
/// changing and applying are not one step: whoever applies last wins.
///
/// `path` is the configuration document's. Cameras are counted from 1. `settings` describe the
/// client's stream, in whose pixels the rules are. No StatusException leaves: its message goes to
/// the log, its status into the result.
class OnvifConfigConverter {
public:
    OnvifConfigConverter() = delete;

    /// The rules below `root` (borrowed, may be null). One bad rule refuses them all, as does a
    /// text without any: the reason is in the log and there is no value.
    static Maybe<OnvifRules> createRulesFromXML(_XmlNode* root, int cameraNbr,
                                                const StreamSettings& settings);

    /// The document with one profile more for each rule, under new uids, and their camera active.
    /// An inactive camera, or a new one, takes the rotation of the settings. Names are not held
    /// against those that are there.
    static ConfigConversionResult createRules(const OnvifRules& rules, const std::string& path,
                                              const StreamSettings& settings);

    /// The document with each profile of a rule's name and camera replaced by the rule; its uid
    /// stays. A rule without a profile changes nothing, neither do rules of an inactive camera.
    static ConfigConversionResult modifyRules(const OnvifRules& rules, const std::string& path,
                                              const StreamSettings& settings);

    /// The document without the profiles of these names on the camera. Names that are not there
    /// change nothing.
    static ConfigConversionResult deleteRules(const std::vector<std::string>& names,
                                              const std::string& path, int cameraNbr);

    /// The camera's profiles as an XML document of rules; without any rule when it is inactive.
    static ConfigConversionResult getRules(const std::string& path, int cameraNbr,
                                           const StreamSettings& settings);
};
