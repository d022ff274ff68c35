#pragma once

#include <jansson.h>

#include <cstdint>
#include <string>
#include <vector>

/// One camera of a configuration document.
struct CameraRecord {
    bool active = false;
    std::int32_t id = -1;
    std::int32_t rotation = -1;       // degrees
    std::int32_t overlayWidth = -1;   // -1: none chosen; 0: one the device does not list
    std::int32_t overlayHeight = -1;  // likewise

    /// The cameras of `params`, in document order, checked against the device. Throws
    /// StatusException.
    static std::vector<CameraRecord> readAll(const json_t* params);
};
