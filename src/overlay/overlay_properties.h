#pragma once

#include <string>

/// What is told of an overlay when its properties change. A plain value.
struct OverlayProperties {
    int id = 0;
    std::string height;  ///< a decimal number
    /// A name, a pair of coordinates split by "," or "x", or empty when it did not change.
    std::string position;
};
