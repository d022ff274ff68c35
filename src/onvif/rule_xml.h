#pragma once

#include <string>

#include "app/maybe.h"
#include "onvif/onvif_rules.h"

struct _XmlNode;
struct StreamSettings;

/// Rules as XML, from clients and for them.
namespace RuleXml {

/// The rules below `root` (borrowed, may be null). Whatever is wrong is in the log; then there is
/// no value.
Maybe<OnvifRules> read(_XmlNode* root, int cameraNbr, const StreamSettings& settings);

/// The document that answers a client. Names are not escaped, and that is meant.
std::string write(const OnvifRules& rules);

}  // namespace RuleXml
