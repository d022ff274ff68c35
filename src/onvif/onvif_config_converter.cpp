#include "onvif/onvif_config_converter.h"

#include <jansson.h>
#include <syslog.h>

#include <algorithm>
#include <cstdint>

#include "config/json_auto_ptr.h"
#include "config/json_parser.h"
#include "config/parse_config.h"
#include "device/stream_settings.h"
#include "onvif/rule_profile.h"
#include "onvif/rule_xml.h"

namespace {

/// The stored document and the parts that rules have to do with.
struct Document {
    explicit Document(const std::string& path)
        : root(ParseConfig::getPersistentConfig(path)),
          profiles(ParseConfig::getProfiles(ParseConfig::getParams(root.get()))),
          cameras(ParseConfig::getCameras(ParseConfig::getParams(root.get()))) {}

    JsonAutoPtr root;
    json_t* profiles;  // borrowed from the root, both
    json_t* cameras;
};

void throwIfMalformed(bool condition, const char* message) {
    utils::throwIf(condition, message, StatusMalformedJson);
}

/// Runs an operation that gives a text, or none, or throws.
template <typename Operation>
ConfigConversionResult convert(Operation operation) {
    ConfigConversionResult result;
    try {
        result.text = operation();
    } catch (const StatusException& failure) {
        syslog(LOG_WARNING, "%s\n", failure.what());
        result.status = Maybe(failure.status);
    }
    return result;
}

/// The document as text; no value when there is no memory for it.
Maybe<std::string> toText(const JsonAutoPtr& document) {
    const std::string text = JsonParser::dumpJsonToString(document.get());
    return text.empty() ? Maybe<std::string>() : Maybe(text);
}

json_t* findCamera(json_t* cameras, int id) {
    for (std::size_t i = 0; i < json_array_size(cameras); ++i) {
        json_t* camera = json_array_get(cameras, i);
        if (ParseConfig::getCameraId(camera) == id) {
            return camera;
        }
    }
    return nullptr;
}

void activate(json_t* camera, int rotation) {
    throwIfMalformed(json_object_set_new(camera, "active", json_true()) != 0,
                     "Could not update camera status");
    throwIfMalformed(json_object_set_new(camera, "rotation", json_integer(rotation)) != 0,
                     "Could not update camera rotation");
}

void addCamera(json_t* cameras, int id, int rotation) {
    json_t* camera = json_pack("{s:i, s:b, s:i}", "id", id, "active", 1, "rotation", rotation);
    throwIfMalformed(json_array_append_new(cameras, camera) != 0, "Could not add camera");
}

/// The rotation of a camera that is active already stays.
void makeActive(json_t* cameras, int id, int rotation) {
    if (ParseConfig::isCameraActive(cameras, id)) {
        return;
    }
    if (json_t* camera = findCamera(cameras, id)) {
        activate(camera, rotation);
    } else {
        addCamera(cameras, id, rotation);
    }
}

/// The uid behind the greatest; wraps like the device's own arithmetic.
int getUidBehind(int uid) {
    return static_cast<int>(static_cast<std::uint32_t>(uid) + 1);
}

JsonAutoPtr decodeProfile(const std::string& text) {
    JsonAutoPtr profile(JsonParser::decode(text.c_str()));
    throwIfMalformed(!JsonParser::isValid(profile.get()), "Could not decode JSON array");
    return profile;
}

void appendProfiles(json_t* profiles, const OnvifRules& rules, const StreamSettings& settings) {
    int uid = std::max(ParseConfig::getMaxUid(profiles), 0);
    for (const OnvifRule& rule : rules) {
        uid = getUidBehind(uid);
        const std::string text = ruleToProfileJson(rule, uid, rules.getCameraNbr(), settings);
        throwIfMalformed(text.empty(), "Rule JSON creation failed");
        throwIfMalformed(json_array_append_new(profiles, decodeProfile(text).release()) != 0,
                         "Could not append to JSON array");
    }
}

/// Replaces every profile of the rule's name and camera.
void replaceProfiles(json_t* profiles, const OnvifRule& rule, int cameraNbr,
                     const StreamSettings& settings) {
    for (std::size_t i = 0; i < json_array_size(profiles); ++i) {
        const json_t* profile = json_array_get(profiles, i);
        if (ParseConfig::getProfileName(profile) != rule.getName() ||
            ParseConfig::getCameraNbr(profile) != cameraNbr) {
            continue;
        }
        const int uid = ParseConfig::getProfileUid(profile);
        JsonAutoPtr changed = decodeProfile(ruleToProfileJson(rule, uid, cameraNbr, settings));
        throwIfMalformed(json_array_set_new(profiles, i, changed.release()) != 0,
                         "Could not set JSON array");
    }
}

/// Removes every profile of the name and camera, from the last to the first.
void removeProfiles(json_t* profiles, const std::string& name, int cameraNbr) {
    for (std::size_t i = json_array_size(profiles); i-- > 0;) {
        const json_t* profile = json_array_get(profiles, i);
        if (ParseConfig::getCameraNbr(profile) == cameraNbr &&
            ParseConfig::getProfileName(profile) == name) {
            throwIfMalformed(json_array_remove(profiles, i) != 0,
                             "Could not remove JSON item in array");
        }
    }
}

}  // namespace

Maybe<OnvifRules> OnvifConfigConverter::createRulesFromXML(_XmlNode* root, int cameraNbr,
                                                           const StreamSettings& settings) {
    return RuleXml::read(root, cameraNbr, settings);
}

ConfigConversionResult OnvifConfigConverter::createRules(const OnvifRules& rules,
                                                         const std::string& path,
                                                         const StreamSettings& settings) {
    return convert([&] {
        const Document document(path);
        makeActive(document.cameras, rules.getCameraNbr(), settings.rotation);
        appendProfiles(document.profiles, rules, settings);
        return toText(document.root);
    });
}

ConfigConversionResult OnvifConfigConverter::modifyRules(const OnvifRules& rules,
                                                         const std::string& path,
                                                         const StreamSettings& settings) {
    return convert([&] {
        const Document document(path);
        if (ParseConfig::isCameraActive(document.cameras, rules.getCameraNbr())) {
            for (const OnvifRule& rule : rules) {
                replaceProfiles(document.profiles, rule, rules.getCameraNbr(), settings);
            }
        }
        return toText(document.root);
    });
}

ConfigConversionResult OnvifConfigConverter::deleteRules(const std::vector<std::string>& names,
                                                         const std::string& path, int cameraNbr) {
    return convert([&] {
        const JsonAutoPtr document = ParseConfig::getPersistentConfig(path);
        json_t* profiles = ParseConfig::getProfiles(ParseConfig::getParams(document.get()));
        for (const std::string& name : names) {
            removeProfiles(profiles, name, cameraNbr);
        }
        return toText(document);
    });
}

ConfigConversionResult OnvifConfigConverter::getRules(const std::string& path, int cameraNbr,
                                                      const StreamSettings& settings) {
    return convert([&] {
        const Document document(path);
        const Maybe<OnvifRules> rules =
            ParseConfig::isCameraActive(document.cameras, cameraNbr)
                ? profilesToRules(document.profiles, cameraNbr, settings)
                : Maybe(OnvifRules({}, cameraNbr));
        throwIfMalformed(!rules.hasValue(), "Could not create rules from JSON");
        return Maybe(RuleXml::write(rules.get()));
    });
}
