#pragma once

#include <string>

/// What the device says of a video stream. A plain value.
struct StreamProperties {
    int id = 0;
    int camera = 0;
    std::string type;
    int width = 0;   ///< pixels
    int height = 0;  ///< pixels
    int rotation = 0;
    bool mirrored = false;
};
