#include "cgi/cgi_pack.h"

#include <syslog.h>

#include "app/status.h"
#include "config/json_parser.h"
#include "device/camera_info.h"
#include "overlay/alarm_overlay.h"

namespace {

void requireBoundaries(const void* boundaries, const std::string& niceName) {
    utils::throwIf(boundaries == nullptr, "Missing boundary values for the " + niceName,
                   StatusInternalError);
}

void requireDefaults(const void* defaults, const std::string& niceName) {
    utils::throwIf(defaults == nullptr, "Missing default values for the " + niceName,
                   StatusInternalError);
}

JsonAutoPtr require(json_t* packed, const std::string& errorWords) {
    utils::throwIf(!JsonParser::isValid(packed), errorWords, StatusInternalError);
    return JsonAutoPtr(packed);
}

JsonAutoPtr requireDefaultValues(json_t* packed, const std::string& name) {
    return require(packed, "Cannot create the default values for the " + name);
}

/// The capabilities of an area, with the corners of its default instance.
template <typename Boundaries>
json_t* packArea(const char* type, const Boundaries& boundaries, const RectangleDefaults& box) {
    return json_pack("{s:s, s:[ff], s:[ff], s:i, s:i, s:i, s:i, s:[ [ff], [ff], [ff], [ff] ]}",
                     "type", type, "min", -1.0, -1.0, "max", 1.0, 1.0, "minNbrVertices",
                     boundaries.datapoints.minNbrVertices, "maxNbrVertices",
                     boundaries.datapoints.maxNbrVertices, "minNbrInstances",
                     boundaries.minNbrInstances, "maxNbrInstances", boundaries.maxNbrInstances,
                     "defaultInstance", box.left, box.bottom, box.left, box.top, box.right, box.top,
                     box.right, box.bottom);
}

/// A trigger of a configuration with the corners of its default instance.
json_t* packAreaTrigger(const char* type, const RectangleDefaults& box) {
    return json_pack("{s:s, s:[ [f,f], [f,f], [f,f], [f,f] ]}", "type", type, "data", box.left,
                     box.bottom, box.left, box.top, box.right, box.top, box.right, box.bottom);
}

json_t* packLoiteringConditions(const LoiteringBoundaries& boundaries,
                                const LoiteringDefaults& defaults) {
    return json_pack("[{s:s, s:i, s:i, s:i, s:b}, {s:s, s:i, s:i, s:i, s:b}]", "type", "individual",
                     "min", boundaries.individualTimeInArea.min, "max",
                     boundaries.individualTimeInArea.max, "default", defaults.individualTime,
                     "defaultActive", static_cast<int>(defaults.individualActive), "type", "group",
                     "min", boundaries.groupTimeInArea.min, "max", boundaries.groupTimeInArea.max,
                     "default", defaults.groupTime, "defaultActive",
                     static_cast<int>(defaults.groupActive));
}

json_t* packLoiteringConditions(const LoiteringDefaults& defaults) {
    return json_pack("[{s:s, s:i, s:b}, {s:s, s:i, s:b}]", "type", "individual", "data",
                     defaults.individualTime, "active", static_cast<int>(defaults.individualActive),
                     "type", "group", "data", defaults.groupTime, "active",
                     static_cast<int>(defaults.groupActive));
}

constexpr const char* kLoiteringWords = "Cannot create the default values for the loiteringArea";

JsonAutoPtr createAvailableResolutions() {
    JsonAutoPtr resolutions =
        CGI_Pack::array("Cannot create the resolutions array for a camera for alarmOverlay");
    for (const CameraInfo::Resolution& resolution :
         CameraInfo::getCameraResolutionsForCurrentAspectRatio()) {
        JsonAutoPtr text(json_string(resolution.toString().c_str()));
        CGI_Pack::appendToArray(
            resolutions, text,
            "Cannot add a resolution to the camera resolutions array for alarm overlay");
    }
    return resolutions;
}

JsonAutoPtr createOverlayCameras() {
    JsonAutoPtr cameras =
        CGI_Pack::array("Cannot create the default cameras array for alarmOverlay");
    const std::string cameraWords = "Cannot add the default values for a camera for alarmOverlay";
    for (int id = 1; id <= CameraInfo::getNbrOfCameras(); ++id) {
        if (!CameraInfo::isSupportedSource(id)) {
            syslog(LOG_INFO, "Skipping source %d because it is not a supported source\n", id);
            continue;
        }
        JsonAutoPtr camera = require(json_pack("{s:i}", "id", id), cameraWords);
        JsonAutoPtr resolutions = createAvailableResolutions();
        CGI_Pack::insertInObject(camera, resolutions, "availableResolutions",
                                 "Cannot add available resolutions for a camera for alarmOverlay");
        CGI_Pack::appendToArray(cameras, camera, cameraWords);
    }
    return cameras;
}

}  // namespace

JsonAutoPtr CGI_Pack::sizePercentageFilter(const SizePercentageFilterBoundaries* boundaries,
                                           const SizePercentageFilterDefaults* defaults) {
    requireBoundaries(boundaries, "size percentage filter");
    requireDefaults(defaults, "size percentage filter");
    return requireDefaultValues(
        json_pack("{s:s, s:[ii], s:[ii], s:[ii], s:b}", "type", "sizePercentage", "min",
                  boundaries->minWidth, boundaries->minHeight, "max", boundaries->maxWidth,
                  boundaries->maxHeight, "default", defaults->width, defaults->height,
                  "defaultActive", static_cast<int>(defaults->active)),
        "sizePercentageFilter");
}

JsonAutoPtr CGI_Pack::sizePercentageFilter(const SizePercentageFilterDefaults* defaults) {
    requireDefaults(defaults, "size percentage filter");
    return requireDefaultValues(
        json_pack("{s:b, s:[i,i], s:s}", "active", static_cast<int>(defaults->active), "data",
                  defaults->width, defaults->height, "type", "sizePercentage"),
        "sizePercentageFilter");
}

JsonAutoPtr CGI_Pack::shortLivedFilter(const ShortLivedFilterBoundaries* boundaries,
                                       const ShortLivedFilterDefaults* defaults) {
    requireBoundaries(boundaries, "short lived filter");
    requireDefaults(defaults, "short lived filter");
    return requireDefaultValues(
        json_pack("{s:s, s:i, s:i, s:i, s:b}", "type", "timeShortLivedLimit", "min",
                  boundaries->min, "max", boundaries->max, "default", defaults->seconds,
                  "defaultActive", static_cast<int>(defaults->active)),
        "shortLivedFilter");
}

JsonAutoPtr CGI_Pack::shortLivedFilter(const ShortLivedFilterDefaults* defaults) {
    requireDefaults(defaults, "short lived filter");
    return requireDefaultValues(
        json_pack("{s:b, s:i, s:s}", "active", static_cast<int>(defaults->active), "data",
                  defaults->seconds, "type", "timeShortLivedLimit"),
        "shortLivedFilter");
}

JsonAutoPtr CGI_Pack::swayingFilter(const SwayingFilterBoundaries* boundaries,
                                    const SwayingFilterDefaults* defaults) {
    requireBoundaries(boundaries, "swaying filter");
    requireDefaults(defaults, "swaying filter");
    return requireDefaultValues(
        json_pack("{s:s, s:i, s:i, s:i, s:b}", "type", "distanceSwayingObject", "min",
                  boundaries->min, "max", boundaries->max, "default", defaults->percent,
                  "defaultActive", static_cast<int>(defaults->active)),
        "swayingFilter");
}

JsonAutoPtr CGI_Pack::swayingFilter(const SwayingFilterDefaults* defaults) {
    requireDefaults(defaults, "swaying filter");
    return requireDefaultValues(
        json_pack("{s:b, s:i, s:s}", "active", static_cast<int>(defaults->active), "data",
                  defaults->percent, "type", "distanceSwayingObject"),
        "swayingFilter");
}

JsonAutoPtr CGI_Pack::excludeArea(const ExcludeAreaBoundaries* boundaries,
                                  const ExcludeAreaDefaults* defaults) {
    requireBoundaries(boundaries, "exclude area");
    requireDefaults(defaults, "exclude area");
    return requireDefaultValues(packArea("excludeArea", *boundaries, *defaults), "excludeArea");
}

JsonAutoPtr CGI_Pack::includeArea(const IncludeAreaBoundaries* boundaries,
                                  const IncludeAreaDefaults* defaults) {
    requireBoundaries(boundaries, "include area");
    requireDefaults(defaults, "include area");
    return requireDefaultValues(packArea("includeArea", *boundaries, *defaults), "includeArea");
}

JsonAutoPtr CGI_Pack::includeArea(const IncludeAreaDefaults* defaults) {
    requireDefaults(defaults, "include area");
    return requireDefaultValues(packAreaTrigger("includeArea", *defaults), "includeArea");
}

JsonAutoPtr CGI_Pack::loiteringArea(const LoiteringBoundaries* boundaries,
                                    const LoiteringDefaults* defaults) {
    requireBoundaries(boundaries, "loitering area");
    requireDefaults(defaults, "loitering area");
    JsonAutoPtr area = requireDefaultValues(
        packArea("loiteringArea", *boundaries, defaults->rectangle), "loiteringArea");
    JsonAutoPtr conditions =
        require(packLoiteringConditions(*boundaries, *defaults), kLoiteringWords);
    insertInObject(area, conditions, "conditions", kLoiteringWords);
    return area;
}

JsonAutoPtr CGI_Pack::loiteringArea(const LoiteringDefaults* defaults) {
    requireDefaults(defaults, "loitering area");
    JsonAutoPtr area = requireDefaultValues(packAreaTrigger("loiteringArea", defaults->rectangle),
                                            "loiteringArea");
    JsonAutoPtr conditions = require(packLoiteringConditions(*defaults), kLoiteringWords);
    insertInObject(area, conditions, "conditions", kLoiteringWords);
    return area;
}

JsonAutoPtr CGI_Pack::fence(const FenceBoundaries* boundaries, const FenceDefaults* defaults) {
    requireBoundaries(boundaries, "fence");
    requireDefaults(defaults, "fence");
    return requireDefaultValues(
        json_pack("{s:s, s:[ff], s:[ff], s:i, s:i, s:i, s:i, s:[ [ff], [ff] ], s:s}", "type",
                  "fence", "min", -1.0, -1.0, "max", 1.0, 1.0, "minNbrVertices",
                  boundaries->datapoints.minNbrVertices, "maxNbrVertices",
                  boundaries->datapoints.maxNbrVertices, "minNbrInstances",
                  boundaries->minNbrInstances, "maxNbrInstances", boundaries->maxNbrInstances,
                  "defaultInstance", defaults->startX, defaults->startY, defaults->endX,
                  defaults->endY, "alarmDirection", defaults->alarmDirection.c_str()),
        "fence");
}

JsonAutoPtr CGI_Pack::fence(const FenceDefaults* defaults) {
    requireDefaults(defaults, "fence");
    return requireDefaultValues(
        json_pack("{s:s, s:[ [f,f], [f,f] ], s:s}", "type", "fence", "data", defaults->startX,
                  defaults->startY, defaults->endX, defaults->endY, "alarmDirection",
                  defaults->alarmDirection.c_str()),
        "fence");
}

JsonAutoPtr CGI_Pack::presets(const PTZ_Boundaries* boundaries, const PTZ_Defaults* defaults) {
    utils::throwIf(boundaries == nullptr, "Missing boundaries values for the presets",
                   StatusInternalError);
    requireDefaults(defaults, "presets");
    return require(json_pack("{s:i, s:i}", "maxNbrPresetsPerProfile", boundaries->maxNbrPresets,
                             "defaultPreset", defaults->preset),
                   "Cannot create the presets for the default profile");
}

JsonAutoPtr CGI_Pack::motionLevel(const SupportedCapabilitiesDefaults* defaults) {
    utils::throwIf(defaults == nullptr, "Missing supported capabilities value.",
                   StatusInternalError);
    return require(
        json_pack("{s:b}", "isSupported", static_cast<int>(defaults->motionLevelSupported)),
        "Cannot create json data for isSupported for motionLevel");
}

JsonAutoPtr CGI_Pack::profiles(const ProfileBoundaries* boundaries) {
    requireBoundaries(boundaries, "profile");
    return require(json_pack("{s:i, s:i, s:i, s:i}", "minNbrProfilesPerCamera",
                             boundaries->minProfilesPerCamera, "maxNbrProfilesPerCamera",
                             boundaries->maxProfilesPerCamera(), "minLengthName",
                             boundaries->minNameLength, "maxLengthName", boundaries->maxNameLength),
                   "Cannot create the default profiles data");
}

JsonAutoPtr CGI_Pack::alarmOverlay() {
    return alarmOverlay(AlarmOverlay::isEnabled());
}

JsonAutoPtr CGI_Pack::alarmOverlay(bool isSupported) {
    JsonAutoPtr overlay = require(json_pack("{s:b}", "isSupported", static_cast<int>(isSupported)),
                                  "Cannot create json data for isSupported for alarmOverlay");
    if (!isSupported) {
        return overlay;
    }
    const std::string maximumWords =
        "Cannot create json data for maxNbrActiveCameras for alarmOverlay";
    JsonAutoPtr maximum = require(json_integer(1), maximumWords);
    insertInObject(overlay, maximum, "maxNbrActiveCameras", maximumWords);
    JsonAutoPtr cameras = createOverlayCameras();
    insertInObject(overlay, cameras, "cameras", "Cannot add cameras array for alarmOverlay");
    return overlay;
}

JsonAutoPtr CGI_Pack::object(const std::string& errorWords) {
    return require(json_object(), errorWords);
}

JsonAutoPtr CGI_Pack::array(const std::string& errorWords) {
    return require(json_array(), errorWords);
}

void CGI_Pack::insertInObject(JsonAutoPtr& target, JsonAutoPtr& value, const std::string& key,
                              const std::string& errorWords) {
    utils::throwIf(json_object_set(target.get(), key.c_str(), value.get()) != 0, errorWords,
                   StatusInternalError);
}

void CGI_Pack::appendToArray(JsonAutoPtr& target, JsonAutoPtr& value,
                             const std::string& errorWords) {
    utils::throwIf(json_array_append(target.get(), value.get()) != 0, errorWords,
                   StatusInternalError);
}
