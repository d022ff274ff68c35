#include "config/api_version_compatibility_converter.h"

#include <syslog.h>

#include "cgi/api_version_handler.h"
#include "config/json_parser.h"
#include "config/parse_config.h"

namespace {

/// The version that brought presets.
const API_Version& versionOfPresets() {
    static const API_Version version("1.1");
    return version;
}

/// The version that brought the alarm overlay.
const API_Version& versionOfAlarmOverlay() {
    static const API_Version version("1.3");
    return version;
}

/// Replaces the key of each element by what its stored counterpart has, if it has one. What the
/// request says is thrown away: its version does not know the key.
void takeStoredValues(const char* key, const json_t* requested, const json_t* stored,
                      json_t* (*findStored)(const json_t* element, const json_t* array)) {
    for (std::size_t i = 0; i < json_array_size(requested); ++i) {
        json_t* element = json_array_get(requested, i);
        json_object_del(element, key);
        json_t* value = json_object_get(findStored(element, stored), key);
        if (value != nullptr) {
            json_object_set(element, key, value);
        }
    }
}

}  // namespace

std::string API_VersionCompatibilityConverter::handleOlderAPI_Versions(
    const std::string& request, const API_VersionHandler& versions, const std::string& path) {
    try {
        const JsonAutoPtr document(JsonParser::decode(request.c_str()));
        utils::throwIf(!JsonParser::isValid(document.get()),
                       "Unable to decode Json: ", StatusMalformedJson);
        const API_Version version = getAPI_VersionOfRequest(document);
        const JsonAutoPtr stored = ParseConfig::getPersistentConfig(path);
        handleAlarmOverlayFeatures(document, version, stored);
        incrementAPI_VersionOfRequest(document, versions.getHighestSupportedVersion(version.major));
        if (version < versionOfPresets()) {
            takeStoredValues("presets",
                             ParseConfig::getProfiles(ParseConfig::getParams(document.get())),
                             ParseConfig::getProfiles(ParseConfig::getParams(stored.get())),
                             ParseConfig::getProfile);
        }
        status = StatusOk;
        return JsonParser::dumpJsonToString(document.get());
    } catch (const StatusException& failure) {
        status = failure.status;
        syslog(LOG_WARNING, "%s\n", failure.what());
        syslog(LOG_WARNING, "%s\n", request.c_str());
        return {};
    }
}

API_Version API_VersionCompatibilityConverter::getAPI_VersionOfRequest(
    const JsonAutoPtr& request) const {
    const char* text = json_string_value(json_object_get(request.get(), "apiVersion"));
    utils::throwIf(text == nullptr, "Failed to parse apiVersion", StatusMissingParameter);
    return API_Version(text);
}

void API_VersionCompatibilityConverter::incrementAPI_VersionOfRequest(
    const JsonAutoPtr& request, const API_Version& version) const {
    const JsonAutoPtr text(json_string(version.text.c_str()));
    utils::throwIf(!JsonParser::isValid(text.get()),
                   "Could not create string to increment API version of request",
                   StatusInternalError);
    utils::throwIf(json_object_set(request.get(), "apiVersion", text.get()) != 0,
                   "Could not store string to increment API version of request",
                   StatusInternalError);
}

void API_VersionCompatibilityConverter::handleAlarmOverlayFeatures(const JsonAutoPtr& request,
                                                                   const API_Version& version,
                                                                   const JsonAutoPtr& stored) {
    if (!(version < versionOfAlarmOverlay())) {
        return;
    }
    json_t* requestParams = ParseConfig::getParams(request.get());
    const json_t* storedParams = ParseConfig::getParams(stored.get());
    alarmOverlayUpdateCameraQuery(storedParams, requestParams);
    alarmOverlayUpdateProfilesQuery(storedParams, requestParams);
}

void API_VersionCompatibilityConverter::alarmOverlayUpdateCameraQuery(const json_t* stored,
                                                                      json_t* request) const {
    const json_t* requested = ParseConfig::getCameras(request);
    takeStoredValues("overlayResolution", requested, ParseConfig::getCameras(stored),
                     ParseConfig::getCamera);
}

void API_VersionCompatibilityConverter::alarmOverlayUpdateProfilesQuery(const json_t* stored,
                                                                        json_t* request) const {
    const json_t* requested = ParseConfig::getProfiles(request);
    takeStoredValues("alarmOverlayEnabled", requested, ParseConfig::getProfiles(stored),
                     ParseConfig::getProfile);
}
