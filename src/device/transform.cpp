#include "device/transform.h"

namespace {

constexpr std::int32_t kUnitsAcross = 8192;
constexpr std::int32_t kUnitsPerHalf = 4096;

// Everything wraps in 32 bits like the device's own arithmetic: a size may come from a client.
std::int32_t wrap(std::int64_t value) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

std::int32_t multiply(std::int32_t a, std::int32_t b) {
    return wrap(std::int64_t{a} * b);
}

std::int32_t subtract(std::int32_t a, std::int32_t b) {
    return wrap(std::int64_t{a} - b);
}

}  // namespace

std::int32_t Transform::toPixelValue(std::int32_t value, std::int32_t size,
                                     TransformOrientation_e orientation) {
    const std::int32_t fromEdge = wrap(std::int64_t{value} + kUnitsPerHalf);
    const std::int32_t pixel = multiply(fromEdge, size) / kUnitsAcross;
    return orientation == TransformPlain ? pixel : subtract(size, pixel);
}

std::int32_t Transform::fromPixelValue(std::int32_t pixel, std::int32_t size,
                                       TransformOrientation_e orientation) {
    if (size == 0) {
        return 0;
    }
    const std::int32_t twice = multiply(2, pixel);
    const std::int32_t fromCentre =
        orientation == TransformPlain ? subtract(twice, size) : subtract(size, twice);
    // At a size of -1 the dividend is an odd multiple of 4096, so this cannot overflow either.
    return multiply(fromCentre, kUnitsPerHalf) / size;
}

std::int32_t Transform::scaleSize(std::int32_t value, std::int32_t size) {
    return multiply(value, size) / kUnitsAcross;
}
