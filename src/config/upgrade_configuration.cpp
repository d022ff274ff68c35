#include "config/upgrade_configuration.h"

#include <set>

#include "app/status.h"
#include "config/json_parser.h"
#include "device/camera_info.h"

namespace {

json_t* getArray(const json_t* params, const char* key, const char* errorWords) {
    json_t* array = JsonParser::getArray(params, key);
    utils::throwIf(array == nullptr, errorWords, StatusMissingParameter);
    return array;
}

/// The ids of the cameras that were removed.
std::set<int> removeUnsupportedCameras(json_t* cameras) {
    std::set<int> removed;
    for (std::size_t i = json_array_size(cameras); i-- > 0;) {
        const json_t* camera = json_array_get(cameras, i);
        utils::throwIf(camera == nullptr, "Could not get data for a camera",
                       StatusMissingParameter);
        int id = 0;
        utils::throwIf(!JsonParser::unpack(camera, "{s:i}", "id", &id),
                       "Could not unpack data for the camera", StatusMissingParameter);
        if (!CameraInfo::isSupportedSource(id)) {
            json_array_remove(cameras, i);
            removed.insert(id);
        }
    }
    return removed;
}

void removeProfilesOf(const std::set<int>& cameras, json_t* profiles) {
    for (std::size_t i = json_array_size(profiles); i-- > 0;) {
        const json_t* profile = json_array_get(profiles, i);
        utils::throwIf(profile == nullptr, "Could not get data for a profile",
                       StatusMissingParameter);
        int camera = 0;
        utils::throwIf(!JsonParser::unpack(profile, "{s:i}", "camera", &camera),
                       "Could not unpack camera for the profile", StatusMissingParameter);
        if (cameras.contains(camera)) {
            json_array_remove(profiles, i);
        }
    }
}

}  // namespace

bool upgradeConfiguration(json_t* document) {
    const json_t* params = JsonParser::getObject(document, "params");
    utils::throwIf(params == nullptr, "Could not get 'params': ", StatusMissingParameter);
    const std::set<int> removed =
        removeUnsupportedCameras(getArray(params, "cameras", "Could not get 'cameras': "));
    if (removed.empty()) {
        return false;
    }
    removeProfilesOf(removed, getArray(params, "profiles", "Could not get 'profiles': "));
    return true;
}
