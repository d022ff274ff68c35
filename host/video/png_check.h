#pragma once

#include <string>

/// The size of a picture in a PNG file.
struct PngSize {
    int width;   ///< pixels
    int height;  ///< pixels
};

/// Looks at a PNG file without unpacking its pixels.
namespace PngCheck {

constexpr std::size_t kMostBytes = 8 << 20;
constexpr int kMostSide = 4096;  ///< pixels

/// Throws std::invalid_argument with one line when it is none, is damaged, or is too large.
PngSize check(const std::string& file);

}  // namespace PngCheck
