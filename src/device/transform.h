#pragma once

#include <cstdint>

/// The direction of an axis: 0 is the plain direction, any other value the flipped one.
enum TransformOrientation_e : std::int32_t {
    TransformPlain = 0,
    TransformFlipped = 1,
};

/// Scene coordinates, 8192 units across the picture from -4096 to 4096, to pixels and back. All of
/// it is 32-bit arithmetic that truncates towards zero.
namespace Transform {

/// The pixel of a scene coordinate on an axis of `size` pixels.
std::int32_t toPixelValue(std::int32_t value, std::int32_t size,
                          TransformOrientation_e orientation);

/// The scene coordinate of a pixel; 0 when `size` is 0.
std::int32_t fromPixelValue(std::int32_t pixel, std::int32_t size,
                            TransformOrientation_e orientation);

/// The pixels of a length of `value` scene units.
std::int32_t scaleSize(std::int32_t value, std::int32_t size);

}  // namespace Transform
