#include "app/fixed_point.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

// Shifts to the left through unsigned, so that what falls off the end falls off quietly.
fx_t shiftLeft(fx_t v, int n) {
    return n < 32 ? static_cast<fx_t>(static_cast<std::uint32_t>(v) << n) : 0;
}

// v / 2^n, rounded half up.
template <typename T>
T shiftRightRounding(T v, int n) {
    return ((v >> (n - 1)) + 1) >> 1;
}

fx_t wrap(std::int64_t v) {
    return static_cast<fx_t>(v);
}

}  // namespace

extern "C" {

fx_t fx_itox(std::int32_t v, int n) {
    return shiftLeft(v, n);
}

fx_t fx_ftox(float f, int n) {
    const float scaled = std::ldexp(f, n);
    return wrap(static_cast<std::int64_t>(scaled + (f > 0 ? 0.5F : -0.5F)));
}

fx_t fx_dtox(double d, int n) {
    const double scaled = std::ldexp(d, n);
    return wrap(static_cast<std::int64_t>(scaled + (d > 0 ? 0.5 : -0.5)));
}

fx_t fx_xtox(fx_t v, int from, int to) {
    if (to >= from) {
        return shiftLeft(v, to - from);
    }
    return wrap(shiftRightRounding<std::int64_t>(v, from - to));
}

std::int32_t fx_xtoi(fx_t v, int n) {
    return v >> n;
}

float fx_xtof(fx_t v, int n) {
    return std::ldexp(static_cast<float>(v), -(n & 31));
}

double fx_xtod(fx_t v, int n) {
    return std::ldexp(static_cast<double>(v), -(n & 31));
}

std::int32_t fx_floorx(fx_t v, int n) {
    return v >> n;
}

std::int32_t fx_roundx(fx_t v, int n) {
    return n == 0 ? v : wrap(shiftRightRounding<std::int64_t>(v, n));
}

std::int32_t fx_ceilx(fx_t v, int n) {
    return wrap((std::int64_t{v} + (std::int64_t{1} << n) - 1) >> n);
}

fx_t fx_addx(fx_t a, fx_t b) {
    return wrap(std::int64_t{a} + b);
}

fx_t fx_subx(fx_t a, fx_t b) {
    return wrap(std::int64_t{a} - b);
}

fx_t fx_mulx(fx_t a, fx_t b, int n) {
    const std::int64_t product = std::int64_t{a} * b;
    return wrap(n == 0 ? product : shiftRightRounding(product, n));
}

fx_t fx_divx(fx_t a, fx_t b, int n) {
    const std::int64_t half = std::abs(std::int64_t{b}) / 2;
    const std::int64_t scaled = std::int64_t{a} * (std::int64_t{1} << n);
    return wrap((scaled + (a < 0 ? -half : half)) / b);
}

fx_t fx_rdivx(fx_t a, const fx_rdiv_t* r) {
    return fx_mulx(a, r->factor, r->shift);
}

int fx_itoa(char* buffer, std::int32_t v) {
    if (buffer == nullptr) {
        errno = EINVAL;
        return -1;
    }
    return std::snprintf(buffer, 12, "%d", v);
}

int fx_xtoa(char* buffer, fx_t v, int n) {
    if (buffer == nullptr) {
        errno = EINVAL;
        return -1;
    }
    return std::snprintf(buffer, 45, "%.*f", n & 31, fx_xtod(v, n));
}
}
