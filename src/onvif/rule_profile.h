#pragma once

#include <jansson.h>

#include <string>

#include "app/maybe.h"
#include "onvif/onvif_rules.h"

struct StreamSettings;

/// The JSON text of the profile that stands for a rule. Points have two decimals. The name is not
/// escaped, and that is meant: with a quotation mark or a backslash in it the text is another
/// document, or none.
std::string ruleToProfileJson(const OnvifRule& rule, int uid, int cameraNbr,
                              const StreamSettings& settings);

/// The rule that a profile (borrowed) stands for, in pixels of the stream. Throws StatusException
/// for null and for what is no such profile.
OnvifRule profileToRule(json_t* profile, const StreamSettings& settings);

/// The camera's profiles (borrowed, may be null) as rules, in pixels of the stream. One that is no
/// rule refuses them all: the reason is in the log and there is no value. Throws StatusException
/// for a profile that does not tell its camera.
Maybe<OnvifRules> profilesToRules(const json_t* profiles, int cameraNbr,
                                  const StreamSettings& settings);
