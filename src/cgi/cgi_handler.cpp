#include "cgi/cgi_handler.h"

#include <syslog.h>

#include <limits>

#include "cgi/api_version_handler.h"
#include "cgi/cgi_handler_result.h"
#include "cgi/cgi_header.h"
#include "cgi/cgi_pack.h"
#include "cgi/unapplied_configuration.h"
#include "config/api_version_compatibility_converter.h"
#include "config/configuration_parser_i.h"
#include "config/data_boundaries.h"
#include "config/default_values.h"
#include "config/json_parser.h"
#include "config/persistent_config_handler.h"
#include "device/camera_info.h"
#include "events/motion_level_settings.h"
#include "events/svg_transform.h"
#include "scene/camera_container.h"

namespace {

using Result = std::unique_ptr<CGI_HandlerResult>;

Result success(JsonAutoPtr data = {}) {
    return std::make_unique<CGI_HandlerResult>(data.release(), StatusOk);
}

Result failure(StatusCode_e status) {
    return std::make_unique<CGI_HandlerResult>(nullptr, status);
}

/// The result of the method, or of its failure: the reason goes to the log and nowhere else.
template <typename Method>
Result resultOf(Method method) {
    try {
        return method();
    } catch (const StatusException& reason) {
        syslog(LOG_WARNING, "%s\n", reason.what());
        return failure(reason.status);
    }
}

/// One above, in a circle that leaves 0 out.
int next(int status) {
    return status == std::numeric_limits<int>::max() ? 1 : status + 1;
}

void addEmptyPresetsIfMissing(json_t* profile) {
    if (profile == nullptr) {
        syslog(LOG_WARNING,
               "Could not get the 'profile'  when trying to add missing PTZ preset array\n");
        return;
    }
    if (JsonParser::getArray(profile, "presets") == nullptr &&
        json_object_set_new(profile, "presets", json_array()) != 0) {
        syslog(LOG_WARNING, "Could not append presets array\n");
    }
}

/// The profile that a request is about, by its `params`.
int readProfile(const json_t* params, const std::string& method) {
    int profile = 0;
    utils::throwIf(!JsonParser::unpack(params, "{s:i}", "profile", &profile),
                   "Could not unpack data for profile uid for " + method, StatusMissingParameter);
    return profile;
}

/// The `params` of a request (borrowed from its document).
const json_t* readParams(const JsonAutoPtr& document, const std::string& method) {
    utils::throwIf(!JsonParser::isValid(document.get()),
                   "Could not decode the " + method + " json data", StatusMalformedJson);
    const json_t* params = JsonParser::getObject(document.get(), "params");
    utils::throwIf(!JsonParser::isValid(params), "Could not decode the params for " + method,
                   StatusMalformedJson);
    return params;
}

}  // namespace

CGI_Handler::CGI_Handler(CameraContainer& cameras, const API_VersionHandler& versions,
                         const std::string& configuration, const std::string& motionLevel,
                         const DataBoundaries* limits, const DefaultValues* proposals,
                         ConfigurationParserI* configurationParser)
    : container(cameras),
      versionHandler(versions),
      configurationPath(configuration),
      motionLevelPath(motionLevel),
      boundaries(limits),
      defaults(proposals),
      parser(configurationParser) {
    g_mutex_init(&configurationMutex);
}

CGI_Handler::~CGI_Handler() {
    g_mutex_clear(&configurationMutex);
}

CGI_Header CGI_Handler::extractHeader(const char* request) const {
    return {request, versionHandler};
}

Result CGI_Handler::handleRequest(const char* request) {
    const CGI_Header header = extractHeader(request);
    return header.status == StatusOk ? handleRequestedCgi(request, header.method) : nullptr;
}

Result CGI_Handler::handleRequestedCgi(const char* request, const std::string& method) {
    if (method == "setConfiguration") {
        return handleSetRequest(request);
    }
    if (method == "getConfiguration") {
        return handleGetRequest();
    }
    if (method == "startVisualConfirmation") {
        return handleStartVisualConfirmation(request);
    }
    if (method == "sendAlarmEvent") {
        return handleSendAlarmEvent(request);
    }
    if (method == "stopVisualConfirmation") {
        return handleStopVisualConfirmation();
    }
    if (method == "getSupportedVersions") {
        return handleGetSupportedVersions();
    }
    if (method == "getConfigurationCapabilities") {
        return handleConfigurationCapabilities();
    }
    if (method == "startMotionLevel") {
        return handleStartMotionLevel();
    }
    if (method == "stopMotionLevel") {
        return handleStopMotionLevel();
    }
    // Meant to be a method: clients learn from it how a request without one is answered.
    return failure(method == "missingMethod" ? StatusMissingParameter : StatusMethodNotFound);
}

Result CGI_Handler::handleSetRequest(const char* request) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&configurationMutex);
    return resultOf([&] {
        const std::string document = convertToNewestVersion(request);
        parser->parse(document, *boundaries);
        throwIf(parser->getStatus() != StatusOk, "Could not parse configuration",
                parser->getStatus());
        // Meant to stand before the save: the guards' events are declared even if it fails.
        UnappliedConfiguration configuration(parser->createConfiguration());
        throwIf(!PersistentConfigHandler::save(updateQuery(document).get(), configurationPath),
                "Could not save configuration", StatusSaveError);
        configuration.applyTo(container);
        return success();
    });
}

std::string CGI_Handler::convertToNewestVersion(const char* request) const {
    API_VersionCompatibilityConverter converter;
    std::string document =
        converter.handleOlderAPI_Versions(request, versionHandler, configurationPath);
    throwIf(converter.getStatus() != StatusOk, "Could not convert configuration to new API-version",
            converter.getStatus());
    return document;
}

JsonAutoPtr CGI_Handler::updateConfigurationStatus(const std::string& document, int status) const {
    JsonAutoPtr updated(JsonParser::decode(document.c_str()));
    json_t* params = JsonParser::getObject(updated.get(), "params");
    if (json_object_set_new(params, "configurationStatus", json_integer(next(status))) != 0) {
        return {};
    }
    return updated;
}

JsonAutoPtr CGI_Handler::updateQuery(const std::string& document) const {
    const int status = PersistentConfigHandler::getConfigurationStatus(configurationPath);
    JsonAutoPtr updated = updateConfigurationStatus(document, status);
    if (CameraInfo::isMechanicalPTZ()) {
        addEmptyPTZ_PresetsIfMissing(updated.get());
    }
    return updated;
}

void CGI_Handler::addEmptyPTZ_PresetsIfMissing(json_t* document) const {
    const json_t* params = JsonParser::getObject(document, "params");
    if (params == nullptr) {
        syslog(LOG_WARNING,
               "Could not get 'params'  when trying to add missing PTZ preset array\n");
        return;
    }
    const json_t* profiles = JsonParser::getArray(params, "profiles");
    if (profiles == nullptr) {
        syslog(LOG_WARNING,
               "Could not get 'profiles' when trying to add missing PTZ preset array \n");
        return;
    }
    for (std::size_t i = 0; i < json_array_size(profiles); ++i) {
        addEmptyPresetsIfMissing(json_array_get(profiles, i));
    }
}

Result CGI_Handler::handleGetRequest() const {
    return resultOf([&] {
        const std::string text = PersistentConfigHandler::load(configurationPath);
        throwIf(text.empty(), "Could not read the configuration file", StatusFileError);
        const JsonAutoPtr document(JsonParser::decode(text.c_str()));
        throwIf(!JsonParser::isValid(document.get()),
                "Could not decode the json from the configuration file", StatusInternalError);
        const json_t* params = JsonParser::getObject(document.get(), "params");
        throwIf(!JsonParser::isValid(params), "Could not get 'params' from the decoded json",
                StatusInternalError);
        JsonAutoPtr copy(json_deep_copy(params));
        throwIf(!JsonParser::isValid(copy.get()), "Could not copy 'params' from the decoded json",
                StatusInternalError);
        return success(copy);
    });
}

Result CGI_Handler::handleGetSupportedVersions() const {
    JsonAutoPtr versions = CGI_Pack::array("Could not create the versions json array");
    JsonAutoPtr data = CGI_Pack::object("Could not create the response for GetSupportedVersions");
    for (const API_Version& version : versionHandler.getVersions()) {
        const JsonAutoPtr element(json_pack("[s]", version.text.c_str()));
        throwIf(!JsonParser::isValid(element.get()), "Could not create a version json array",
                StatusInternalError);
        throwIf(json_array_extend(versions.get(), element.get()) != 0,
                "Could not extend the versions json array", StatusInternalError);
    }
    CGI_Pack::insertInObject(data, versions, "apiVersions",
                             "Could not insert the apiVersions array into the response");
    return success(data);
}

Result CGI_Handler::handleConfigurationCapabilities() const {
    return resultOf([&] {
        JsonAutoPtr filters = createDefaultFilters();
        JsonAutoPtr triggers = createDefaultTriggers();
        JsonAutoPtr alarmOverlay = CGI_Pack::alarmOverlay();
        JsonAutoPtr motionLevel = CGI_Pack::motionLevel(defaults->supportedCapabilities);
        JsonAutoPtr profiles = CGI_Pack::profiles(boundaries->profile);
        JsonAutoPtr data = CGI_Pack::object("Cannot create the data for the default profile");
        CGI_Pack::insertInObject(data, filters, "filters",
                                 "Cannot add the filters to the default configuration");
        CGI_Pack::insertInObject(data, triggers, "triggers",
                                 "Cannot add the triggers to the default configuration");
        CGI_Pack::insertInObject(data, profiles, "profiles",
                                 "Cannot add the profiles to the default configuration");
        CGI_Pack::insertInObject(data, alarmOverlay, "alarmOverlay",
                                 "Cannot add alarmOverlay to the default configuration");
        CGI_Pack::insertInObject(data, motionLevel, "motionLevel",
                                 "Cannot add motionLevel to the default configuration");
        if (CameraInfo::isMechanicalPTZ()) {
            JsonAutoPtr presets = CGI_Pack::presets(boundaries->ptz, defaults->ptz);
            CGI_Pack::insertInObject(data, presets, "presets",
                                     "Cannot add the presets to the default configuration");
        }
        return success(data);
    });
}

JsonAutoPtr CGI_Handler::createDefaultFilters() const {
    JsonAutoPtr filters = CGI_Pack::array("Cannot create the default filters array");
    const auto append = [&](JsonAutoPtr filter, const std::string& name) {
        CGI_Pack::appendToArray(
            filters, filter,
            "Cannot add the default values for the " + name + " to the filters array");
    };
    append(CGI_Pack::sizePercentageFilter(boundaries->sizePercentageFilter,
                                          defaults->sizePercentageFilter),
           "sizePercentageFilter");
    append(CGI_Pack::shortLivedFilter(boundaries->shortLivedFilter, defaults->shortLivedFilter),
           "shortLivedFilter");
    append(CGI_Pack::swayingFilter(boundaries->swayingFilter, defaults->swayingFilter),
           "swayingFilter");
    append(CGI_Pack::excludeArea(boundaries->excludeArea, defaults->excludeArea), "exclude area");
    return filters;
}

JsonAutoPtr CGI_Handler::createDefaultTriggers() const {
    JsonAutoPtr triggers = CGI_Pack::array("Cannot create the default triggers array");
    JsonAutoPtr includeArea = CGI_Pack::includeArea(boundaries->includeArea, defaults->includeArea);
    CGI_Pack::appendToArray(
        triggers, includeArea,
        "Cannot add the default values for the includeArea to the triggers array");
    return triggers;
}

Result CGI_Handler::handleStartVisualConfirmation(const char* request) {
    return resultOf([&] {
        const JsonAutoPtr document(JsonParser::decode(request));
        const json_t* params = readParams(document, "startVisualConfirmation");
        const int profile = readProfile(params, "startVisualConfirmation");
        const TransformationMatrix matrix = createTransformationMatrix(*params);
        const std::string transform =
            createSVGTransform(matrix.data(), static_cast<int>(matrix.size()));
        throwIf(!container.enableVisualConfirmation(profile, transform),
                "Could not enable visual confirmation", StatusConflict);
        return success();
    });
}

CGI_Handler::TransformationMatrix CGI_Handler::createTransformationMatrix(
    const json_t& params) const {
    TransformationMatrix m{};
    // Meant without the mark of an end: of more than nine numbers the first nine count.
    throwIf(!JsonParser::unpack(&params, "{s:[FFFFFFFFF]}", "transform", &m[0], &m[1], &m[2], &m[3],
                                &m[4], &m[5], &m[6], &m[7], &m[8]),
            "Could not unpack the transformation matrix", StatusMissingParameter);
    return m;
}

Result CGI_Handler::handleStopVisualConfirmation() {
    container.disableVisualConfirmation();
    return success();
}

Result CGI_Handler::handleStartMotionLevel() {
    if (!isMotionLevelSupported()) {
        return failure(StatusMethodNotFound);
    }
    container.startMotionLevel();
    MotionLevelSettings::save(true, motionLevelPath);
    return success();
}

Result CGI_Handler::handleStopMotionLevel() {
    if (!isMotionLevelSupported()) {
        return failure(StatusMethodNotFound);
    }
    container.stopMotionLevel();
    MotionLevelSettings::save(false, motionLevelPath);
    return success();
}

bool CGI_Handler::isMotionLevelSupported() const {
    return defaults->supportedCapabilities != nullptr &&
           defaults->supportedCapabilities->motionLevelSupported;
}

Result CGI_Handler::handleSendAlarmEvent(const char* request) {
    return resultOf([&] {
        const JsonAutoPtr document(JsonParser::decode(request));
        const json_t* params = readParams(document, "sendAlarmEvent");
        const int profile = readProfile(params, "sendAlarmEvent");
        throwIf(!container.doesProfileExist(profile), "Profile does not exist",
                StatusInvalidParameter);
        throwIf(!container.sendAlarmEvent(profile), "Could not send alarm event",
                StatusInternalError);
        return success();
    });
}

void CGI_Handler::throwIf(bool condition, const std::string& message, StatusCode_e status) const {
    utils::throwIf(condition, message, status);
}
