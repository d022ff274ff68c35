#pragma once

#include <vector>

#include "video/blend_color.h"

/// Colours at their place in a stream's picture, row by row. May stand out of the picture.
struct OverlayPatch {
    int left = 0;  ///< pixels seen, from the upper left
    int top = 0;
    int width = 0;
    int height = 0;
    std::vector<BlendColor> pixels;
};
