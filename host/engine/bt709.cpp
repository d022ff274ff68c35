#include "engine/bt709.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

extern "C" {
#include <libavutil/frame.h>
}

namespace Bt709 {

namespace {

// The way through red, green and blue in one step: with Y, Cb, Cr of BT.709 between 0 and 1 or
// -0.5 and 0.5, R = Y + 1.5748 Cr, B = Y + 1.8556 Cb and so on, put into the equations of BT.601.
// Luma has 219 steps where chroma has 224. Coefficients are counted in 1/16384.
constexpr int bits = 14;
constexpr int half = 1 << (bits - 1);

constexpr int fixed(double coefficient) {
    return static_cast<int>(coefficient * (1 << bits) + (coefficient < 0 ? -0.5 : 0.5));
}

constexpr int lumaFromBlue = fixed(0.101579 * 219 / 224);
constexpr int lumaFromRed = fixed(0.196076 * 219 / 224);
constexpr int blueFromBlue = fixed(0.989854);
constexpr int blueFromRed = fixed(-0.110653);
constexpr int redFromBlue = fixed(-0.072453);
constexpr int redFromRed = fixed(0.983398);

std::uint8_t bounded(int value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, 255));
}

struct ChromaRow {
    const std::uint8_t* blue;
    const std::uint8_t* red;
};

void convertChroma(const ChromaRow& from, std::uint8_t* __restrict blue,
                   std::uint8_t* __restrict red, int columns) {
    constexpr int middle = (128 << bits) + half;
    for (int x = 0; x < columns; ++x) {
        const int b = from.blue[x] - 128;
        const int r = from.red[x] - 128;
        blue[x] = bounded((blueFromBlue * b + blueFromRed * r + middle) >> bits);
        red[x] = bounded((redFromBlue * b + redFromRed * r + middle) >> bits);
    }
}

void convertLuma(const std::uint8_t* from, const ChromaRow& chroma, std::uint8_t* __restrict to,
                 int columns) {
    const auto change = [&chroma](std::ptrdiff_t x) {
        return (lumaFromBlue * (chroma.blue[x] - 128) + lumaFromRed * (chroma.red[x] - 128) +
                half) >>
               bits;
    };
    for (std::ptrdiff_t x = 0; x < columns / 2; ++x) {
        const int step = change(x);
        to[2 * x] = bounded(from[2 * x] + step);
        to[2 * x + 1] = bounded(from[2 * x + 1] + step);
    }
    if (columns % 2 != 0) {
        to[columns - 1] = bounded(from[columns - 1] + change(columns / 2));
    }
}

std::uint8_t* rowOf(const AVFrame& frame, int plane, int y) {
    return frame.data[plane] + std::ptrdiff_t{y} * frame.linesize[plane];
}

}  // namespace

void toBt601(const AVFrame& from, AVFrame& to) {
    for (int y = 0; y < from.height; ++y) {
        const ChromaRow chroma = {rowOf(from, 1, y / 2), rowOf(from, 2, y / 2)};
        convertLuma(rowOf(from, 0, y), chroma, rowOf(to, 0, y), from.width);
        if (y % 2 == 0) {
            convertChroma(chroma, rowOf(to, 1, y / 2), rowOf(to, 2, y / 2), (from.width + 1) / 2);
        }
    }
}

}  // namespace Bt709
