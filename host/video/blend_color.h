#pragma once

#include <cstdint>

/// A colour as it is laid over a picture: BT.601, limited range. Alpha 255 hides the picture, 0
/// leaves it alone.
struct BlendColor {
    std::uint8_t luma = 16;
    std::uint8_t blue = 128;  ///< blue difference
    std::uint8_t red = 128;   ///< red difference
    std::uint8_t alpha = 0;

    /// From full range colours, rounded to the nearest.
    static BlendColor of(int red, int green, int blue, int alpha);

    friend bool operator==(const BlendColor&, const BlendColor&) = default;
};
