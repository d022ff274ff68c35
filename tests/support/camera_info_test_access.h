#pragma once

#include "device/camera_info.h"

/// Lets a test begin with a device that has not been asked anything yet.
class CameraInfoTestAccess {
public:
    static void forget() { CameraInfo::forget(); }
    /// `path` is borrowed until the next call.
    static void setMachineFile(const char* path) { CameraInfo::s_machineFile = path; }
};
