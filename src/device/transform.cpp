#include "device/transform.h"

namespace {

constexpr std::int32_t kUnitsAcross = 8192;
constexpr std::int32_t kUnitsPerHalf = 4096;

// Products wrap in 32 bits like the device's own arithmetic.
std::int32_t multiply(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

}  // namespace

std::int32_t Transform::toPixelValue(std::int32_t value, std::int32_t size,
                                     TransformOrientation_e orientation) {
    const std::int32_t pixel = multiply(value + kUnitsPerHalf, size) / kUnitsAcross;
    return orientation == TransformPlain ? pixel : size - pixel;
}

std::int32_t Transform::fromPixelValue(std::int32_t pixel, std::int32_t size,
                                       TransformOrientation_e orientation) {
    if (size == 0) {
        return 0;
    }
    const std::int32_t fromCentre =
        orientation == TransformPlain ? 2 * pixel - size : size - 2 * pixel;
    return multiply(fromCentre, kUnitsPerHalf) / size;
}

std::int32_t Transform::scaleSize(std::int32_t value, std::int32_t size) {
    return multiply(value, size) / kUnitsAcross;
}
