#include "events/event_nice_name.h"

#include "device/camera_info.h"

std::string utils::generateEventNiceName(const std::string& label, const std::string& name,
                                         int camera) {
    std::string niceName = label + ": " + name;
    if (camera >= 1 && CameraInfo::isMultiCamera()) {
        return niceName + " (" + CameraInfo::getCameraName(camera) + ")";
    }
    return niceName;
}
