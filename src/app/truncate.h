#pragma once

#include <cmath>
#include <concepts>
#include <limits>

namespace utils {

/// The integer part of the value. Beyond the range of an int it is the nearer end of the range, and
/// what is not a number gives 0: the plain conversion is undefined there.
template <std::floating_point T>
int truncateToInt(T value) {
    constexpr T end = 2147483648.0F;
    if (value >= end) {
        return std::numeric_limits<int>::max();
    }
    if (value < -end) {
        return std::numeric_limits<int>::min();
    }
    return std::isnan(value) ? 0 : static_cast<int>(value);
}

}  // namespace utils
