#include "video/blend_color.h"

#include <cmath>

namespace {

std::uint8_t rounded(double value) {
    return static_cast<std::uint8_t>(std::lround(value));
}

}  // namespace

BlendColor BlendColor::of(int red, int green, int blue, int alpha) {
    BlendColor color;
    color.luma = rounded(16 + (65.481 * red + 128.553 * green + 24.966 * blue) / 255);
    color.blue = rounded(128 + (-37.797 * red - 74.203 * green + 112.0 * blue) / 255);
    color.red = rounded(128 + (112.0 * red - 93.786 * green - 18.214 * blue) / 255);
    color.alpha = static_cast<std::uint8_t>(alpha);
    return color;
}
