#pragma once

#include <cstddef>
#include <cstdint>

/// Fixed-point routines on 32-bit values, in which `n` is the number of fractional bits. Nothing in
/// this program calls them: they are an interface for what is loaded into the process. Results wrap
/// in 32 bits.
extern "C" {

typedef std::int32_t fx_t;

/// A divisor prepared as a multiplication: the factor and its fractional bits.
typedef struct {
    fx_t factor;
    int shift;
} fx_rdiv_t;

fx_t fx_itox(std::int32_t v, int n);
/// Round half away from zero.
fx_t fx_ftox(float f, int n);
fx_t fx_dtox(double d, int n);
/// From `from` fractional bits to `to`; fewer bits round half up.
fx_t fx_xtox(fx_t v, int from, int to);
std::int32_t fx_xtoi(fx_t v, int n);
/// `n` is taken modulo 32.
float fx_xtof(fx_t v, int n);
double fx_xtod(fx_t v, int n);
std::int32_t fx_floorx(fx_t v, int n);
std::int32_t fx_roundx(fx_t v, int n);
std::int32_t fx_ceilx(fx_t v, int n);
fx_t fx_addx(fx_t a, fx_t b);
fx_t fx_subx(fx_t a, fx_t b);
fx_t fx_mulx(fx_t a, fx_t b, int n);
/// Rounds half away from zero for a positive divisor; a divisor of 0 is the caller's error.
fx_t fx_divx(fx_t a, fx_t b, int n);
fx_t fx_rdivx(fx_t a, const fx_rdiv_t* r);
/// Decimal text of `v`, ended by a zero byte; returns its length. A null buffer gives -1 and
/// EINVAL. The buffer holds at least 12 characters.
int fx_itoa(char* buffer, std::int32_t v);
/// Decimal text of a fixed-point value with as many decimals as it has, otherwise as fx_itoa. The
/// buffer holds at least 45 characters.
int fx_xtoa(char* buffer, fx_t v, int n);
}
