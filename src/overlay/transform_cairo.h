#pragma once

#include <cstdint>

struct ExternalOverlayUnion;
struct StreamSettings;

namespace Transform::Cairo {

/// A pixel or a size in the picture as it is viewed, in full pixels; both halves are cut to 16
/// bits.
struct PixelPair {
    friend bool operator==(const PixelPair&, const PixelPair&) = default;

    std::int16_t x = 0;
    std::int16_t y = 0;
};

/// The pixel of a point in scene space, counted from the top of the band below the upper margin. A
/// rotation other than 0, 90, 180 and 270 degrees is logged and gives that band's (0, -top).
PixelPair toPixelValue(int x, int y, const StreamSettings& settings,
                       const ExternalOverlayUnion& margins);

/// The pixels of a size in scene units; (0, 0), logged, for any other rotation.
PixelPair scaleSize(int width, int height, const StreamSettings& settings);

}  // namespace Transform::Cairo
