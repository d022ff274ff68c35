#include "config/default_config_creator.h"

#include <syslog.h>

#include <cstring>

#include "app/status.h"
#include "cgi/cgi_pack.h"
#include "config/default_values.h"
#include "config/json_parser.h"
#include "device/camera_info.h"
#include "events/sdk_wrapper.h"

namespace {

JsonAutoPtr require(json_t* value, const char* errorWords) {
    utils::throwIf(!JsonParser::isValid(value), errorWords);
    return JsonAutoPtr(value);
}

void insert(const JsonAutoPtr& target, const char* key, const JsonAutoPtr& value,
            const char* errorWords) {
    utils::throwIf(json_object_set(target.get(), key, value.get()) != 0, errorWords);
}

void append(const JsonAutoPtr& target, const JsonAutoPtr& value, const char* errorWords) {
    utils::throwIf(json_array_append(target.get(), value.get()) != 0, errorWords);
}

bool isSupportedSource(int id) {
    if (CameraInfo::isSupportedSource(id)) {
        return true;
    }
    syslog(LOG_INFO, "Skipping source %d because it is not a supported source\n", id);
    return false;
}

/// The camera that is active in a new document.
int idOfActiveCamera() {
    char productNumber[500];
    sdk_wrapper_param_get("root.Brand.ProdNbr", productNumber, sizeof productNumber);
    return std::strstr(productNumber, "K510") != nullptr ? 2 : 1;
}

JsonAutoPtr createCameras() {
    JsonAutoPtr cameras = require(json_array(), "Cannot create the default cameras array");
    for (int id = 1; id <= CameraInfo::getNbrOfCameras(); ++id) {
        if (isSupportedSource(id)) {
            const JsonAutoPtr camera =
                require(json_pack("{s:i, s:b, s:i}", "id", id, "active",
                                  static_cast<int>(id == idOfActiveCamera()), "rotation", 0),
                        "Cannot create a camera");
            append(cameras, camera, "Cannot add a camera to the array");
        }
    }
    return cameras;
}

}  // namespace

DefaultConfigCreator::DefaultConfigCreator(bool withPerspective)
    : createPerspective(withPerspective) {}

JsonAutoPtr DefaultConfigCreator::create(const DefaultValues& defaults,
                                         const std::string& apiVersion) {
    const JsonAutoPtr params = createDefaultParams(defaults);
    JsonAutoPtr document = require(json_pack("{s:s, s:s, s:s}", "apiVersion", apiVersion.c_str(),
                                             "context", "", "method", "setConfiguration"),
                                   "Cannot create the header for the default configuration");
    insert(document, "params", params, "Cannot add the parameters to the default configuration");
    return document;
}

JsonAutoPtr DefaultConfigCreator::createDefaultParams(const DefaultValues& defaults) {
    const JsonAutoPtr cameras = createCameras();
    const JsonAutoPtr profiles = createProfiles(defaults, CameraInfo::getNbrOfCameras());
    const JsonAutoPtr status = require(json_integer(0), "Cannot pack the configuration status");
    JsonAutoPtr params =
        require(json_object(), "Cannot create the parameters for the default configuration");
    insert(params, "cameras", cameras, "Cannot add the cameras to the default configuration");
    insert(params, "profiles", profiles, "Cannot add the profiles to the default configuration");
    insert(params, "configurationStatus", status,
           "Cannot add the configuration status to the default configuration");
    return params;
}

JsonAutoPtr DefaultConfigCreator::createProfiles(const DefaultValues& defaults, int nbrOfCameras) {
    JsonAutoPtr profiles = require(json_array(), "Cannot create the default profile array");
    for (int camera = 1; camera <= nbrOfCameras; ++camera) {
        if (isSupportedSource(camera)) {
            append(profiles, createProfile(defaults, camera), "Cannot add a profile to the array");
        }
    }
    return profiles;
}

JsonAutoPtr DefaultConfigCreator::createProfile(const DefaultValues& defaults, int camera) {
    JsonAutoPtr profile = require(json_object(), "Cannot create information for a default profile");
    insert(profile, "filters", createFiltersArray(defaults),
           "Cannot add the filters to the profile");
    insert(profile, "triggers", createTriggersArray(defaults),
           "Cannot add the triggers to the profile");
    const JsonAutoPtr information =
        require(json_pack("{s:i, s:i, s:s}", "uid", camera, "camera", camera, "name", "Profile 1"),
                "Cannot create additional information for a default profile");
    utils::throwIf(json_object_update(profile.get(), information.get()) != 0,
                   "Cannot update the profile with addition information");
    if (CameraInfo::isMechanicalPTZ()) {
        insert(profile, "presets", require(json_array(), "Cannot create the default presets array"),
               "Cannot add the presets array to the profile");
    }
    if (createPerspective) {
        insert(profile, "perspective",
               require(json_array(), "Cannot create the default perspective array"),
               "Cannot add the perspective array to the profile");
    }
    return profile;
}

JsonAutoPtr DefaultConfigCreator::createTriggersArray(const DefaultValues& defaults) {
    JsonAutoPtr triggers = CGI_Pack::array("Cannot create the default triggers array");
    JsonAutoPtr includeArea = CGI_Pack::includeArea(defaults.includeArea);
    CGI_Pack::appendToArray(
        triggers, includeArea,
        "Cannot add the default values for the includeArea to the triggers array");
    return triggers;
}

JsonAutoPtr DefaultConfigCreator::createFiltersArray(const DefaultValues& defaults) {
    JsonAutoPtr filters = CGI_Pack::array("Cannot create the default filters array");
    JsonAutoPtr size = CGI_Pack::sizePercentageFilter(defaults.sizePercentageFilter);
    CGI_Pack::appendToArray(
        filters, size,
        "Cannot add the default values for the sizePercentageFilter to the filters array");
    JsonAutoPtr shortLived = CGI_Pack::shortLivedFilter(defaults.shortLivedFilter);
    CGI_Pack::appendToArray(
        filters, shortLived,
        "Cannot add the default values for the shortLivedFilter to the filters array");
    JsonAutoPtr swaying = CGI_Pack::swayingFilter(defaults.swayingFilter);
    CGI_Pack::appendToArray(
        filters, swaying,
        "Cannot add the default values for the swayingFilter to the filters array");
    return filters;
}
