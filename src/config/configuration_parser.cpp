#include "config/configuration_parser.h"

#include <syslog.h>

#include <algorithm>
#include <map>
#include <set>

#include "config/data_boundaries.h"
#include "config/json_auto_ptr.h"
#include "config/json_parser.h"
#include "config/ktw_guard_factory.h"
#include "scene/camera_configuration_container.h"

template <typename T>
ConfigurationParser<T>::~ConfigurationParser() {
    clear();
}

template <typename T>
void ConfigurationParser<T>::clear() {
    for (const T* factory : factories) {
        delete factory;
    }
    factories.clear();
    cameras.clear();
    status = StatusMalformedJson;
}

template <typename T>
void ConfigurationParser<T>::parse(const std::string& json, const DataBoundaries& boundaries) {
    clear();
    try {
        parseDocument(json, boundaries);
        status = StatusOk;
    } catch (const StatusException& failure) {
        status = failure.status;
        syslog(LOG_WARNING, "%s\n", failure.what());
        syslog(LOG_WARNING, "%s\n", json.c_str());
    }
}

template <typename T>
void ConfigurationParser<T>::parseDocument(const std::string& json,
                                           const DataBoundaries& boundaries) {
    const JsonAutoPtr document(JsonParser::decode(json.c_str()));
    utils::throwIf(!JsonParser::isValid(document.get()),
                   "Unable to decode Json: ", StatusMalformedJson);
    const json_t* params = JsonParser::getObject(document.get(), "params");
    utils::throwIf(params == nullptr, "Could not get 'params': ", StatusMissingParameter);
    cameras = CameraRecord::readAll(params);
    const json_t* profiles = JsonParser::getArray(params, "profiles");
    utils::throwIf(profiles == nullptr, "Could not get 'profiles': ", StatusMissingParameter);
    createFactories(*profiles, boundaries);
    deactivateCamerasWithoutProfile();
    checkUids();
    checkNumberOfProfiles(boundaries);
    checkAlarmOverlays();
}

template <typename T>
void ConfigurationParser<T>::createFactories(const json_t& profiles,
                                             const DataBoundaries& boundaries) {
    factories.reserve(json_array_size(&profiles));
    for (std::size_t i = 0; i < json_array_size(&profiles); ++i) {
        const json_t* profile = json_array_get(&profiles, i);
        utils::throwIf(profile == nullptr, "Could not get data for a profile",
                       StatusMissingParameter);
        int cameraId = 0;
        utils::throwIf(!JsonParser::unpack(profile, "{s:i}", "camera", &cameraId),
                       "Missing camera id parameter", StatusMissingParameter);
        const CameraRecord* camera = findCamera(cameraId);
        utils::throwIf(camera == nullptr || camera->rotation == -1,
                       "Found invalid rotation for a camera", StatusInvalidParameter);
        factories.push_back(new T(*profile, camera->rotation, boundaries));
    }
    // Looked at only now, so that every profile has its say in the log.
    for (const T* factory : factories) {
        utils::throwIf(factory->status != StatusOk, "A guard factory is not ok", factory->status);
    }
}

template <typename T>
void ConfigurationParser<T>::deactivateCamerasWithoutProfile() {
    for (CameraRecord& camera : cameras) {
        camera.active = camera.active && hasProfile(camera);
    }
}

template <typename T>
void ConfigurationParser<T>::checkUids() const {
    std::set<int> uids;
    for (const T* factory : factories) {
        utils::throwIf(!uids.insert(factory->uid).second, "Found profiles with the same uid",
                       StatusConflict);
    }
}

template <typename T>
void ConfigurationParser<T>::checkNumberOfProfiles(const DataBoundaries& boundaries) const {
    std::map<int, int> profilesOfCamera;
    for (const T* factory : factories) {
        utils::throwIf(findCamera(factory->camera) == nullptr,
                       "Found a profile that has an unknown camera", StatusConflict);
        ++profilesOfCamera[factory->camera];
    }
    for (const auto& [camera, count] : profilesOfCamera) {
        utils::throwIf(count > boundaries.profile->maxProfilesPerCamera(),
                       "A camera has too many profiles attached to it", StatusTooManyRules);
    }
}

template <typename T>
void ConfigurationParser<T>::checkAlarmOverlays() const {
    std::set<int> involved;
    for (const T* factory : factories) {
        if (!factory->alarmOverlayEnabled) {
            continue;
        }
        const CameraRecord* camera = findCamera(factory->camera);
        involved.insert(camera->id);
        utils::throwIf(
            camera->overlayWidth == -1 || camera->overlayHeight == -1 || involved.size() > 1,
            "Invalid alarm overlay parameters", StatusConflict);
    }
}

template <typename T>
const CameraRecord* ConfigurationParser<T>::findCamera(int id) const {
    const auto found = std::find_if(cameras.begin(), cameras.end(),
                                    [id](const CameraRecord& camera) { return camera.id == id; });
    return found != cameras.end() ? &*found : nullptr;
}

template <typename T>
bool ConfigurationParser<T>::hasProfile(const CameraRecord& camera) const {
    return std::any_of(factories.begin(), factories.end(),
                       [&camera](const T* factory) { return factory->camera == camera.id; });
}

template <typename T>
AlarmOverlayConfigurationContainer ConfigurationParser<T>::createAlarmOverlayConfiguration() const {
    AlarmOverlayConfigurationContainer overlay;
    for (const T* factory : factories) {
        if (factory->alarmOverlayEnabled) {
            overlay.profileIds.push_back(factory->uid);
        }
    }
    for (const CameraRecord& camera : cameras) {
        overlay.streamSettings[camera.id] =
            StreamSettings(camera.overlayWidth, camera.overlayHeight, camera.rotation, false);
    }
    return overlay;
}

template <typename T>
CameraConfigurationContainer ConfigurationParser<T>::createConfiguration() const {
    CameraConfigurationContainer container(createAlarmOverlayConfiguration());
    for (const CameraRecord& camera : cameras) {
        if (camera.active) {
            container.insert(CameraConfiguration(camera.id, camera.rotation));
        }
    }
    for (const T* factory : factories) {
        if (CameraConfiguration* configuration = container.getConfiguration(factory->camera)) {
            configuration->insertGuard(factory->createGuard());
        }
    }
    return container;
}

template class ConfigurationParser<KTW_GuardFactory>;
