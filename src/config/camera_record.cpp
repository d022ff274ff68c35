#include "config/camera_record.h"

#include <syslog.h>

#include <algorithm>

#include "app/convert.h"
#include "app/status.h"
#include "app/utils.h"
#include "config/json_parser.h"
#include "device/camera_info.h"

namespace {

void readOverlayResolution(const std::string& chosen, CameraRecord& camera) {
    for (const CameraInfo::Resolution& listed :
         CameraInfo::getCameraResolutionsForCurrentAspectRatio()) {
        if (listed.toString() == chosen) {
            camera.overlayWidth = listed.width;
            camera.overlayHeight = listed.height;
            return;
        }
    }
    const std::string notOnFormat =
        "Chosen overlayResolution is invalid, should be on format width x height";
    const std::vector<std::string> parts = utils::splitString(chosen, 'x');
    utils::throwIf(parts.size() != 2, notOnFormat, StatusInvalidParameter);
    if (Convert::stringToInt(parts[0].c_str()).get() == 0 ||
        Convert::stringToInt(parts[1].c_str()).get() == 0) {
        syslog(LOG_WARNING, "Failed to parse resolution, skipping: %s\n", chosen.c_str());
        utils::throwIf(true, notOnFormat, StatusInvalidParameter);
    }
    // A resolution that the device does not list is accepted, and is meant to be.
    camera.overlayWidth = 0;
    camera.overlayHeight = 0;
}

CameraRecord readCamera(const json_t* element) {
    CameraRecord camera;
    int active = 0;
    utils::throwIf(!JsonParser::unpack(element, "{s:b, s:i, s:i}", "active", &active, "id",
                                       &camera.id, "rotation", &camera.rotation),
                   "Could not unpack data for the camera", StatusMissingParameter);
    camera.active = active != 0;
    if (const json_t* resolution = json_object_get(element, "overlayResolution")) {
        utils::throwIf(!json_is_string(resolution), "Failed to parse overlayResolution",
                       StatusMissingParameter);
        readOverlayResolution(json_string_value(resolution), camera);
    }
    return camera;
}

void checkAgainstDevice(const CameraRecord& camera) {
    utils::throwIf(!utils::isValidCameraRotation(camera.rotation),
                   "Invalid rotation parameter in configuration file", StatusInvalidParameter);
    utils::throwIf(camera.id < 0 || camera.id > CameraInfo::getNbrOfCameras(),
                   "Invalid camera id parameter in configuration file", StatusInvalidParameter);
    utils::throwIf(!CameraInfo::isSupportedSource(camera.id),
                   "Invalid camera id parameter in configuration file, not a supported source",
                   StatusInvalidParameter);
}

}  // namespace

std::vector<CameraRecord> CameraRecord::readAll(const json_t* params) {
    const json_t* array = JsonParser::getArray(params, "cameras");
    utils::throwIf(array == nullptr, "Could not get 'cameras': ", StatusMissingParameter);
    utils::throwIf(static_cast<int>(json_array_size(array)) > CameraInfo::getNbrOfCameras(),
                   "The configuration contains more cameras than device supports",
                   StatusInvalidParameter);
    std::vector<CameraRecord> cameras;
    for (std::size_t i = 0; i < json_array_size(array); ++i) {
        const json_t* element = json_array_get(array, i);
        utils::throwIf(element == nullptr, "Could not get data for a camera",
                       StatusMissingParameter);
        const CameraRecord camera = readCamera(element);
        checkAgainstDevice(camera);
        utils::throwIf(
            std::any_of(cameras.begin(), cameras.end(),
                        [&](const CameraRecord& other) { return other.id == camera.id; }),
            "Duplicate cameras found", StatusConflict);
        cameras.push_back(camera);
    }
    utils::throwIf(cameras.empty(), "No cameras found", StatusMissingParameter);
    return cameras;
}
