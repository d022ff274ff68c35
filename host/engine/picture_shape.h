#pragma once

#include <cmath>

extern "C" {
#include <libavutil/rational.h>
}

/// The size in which a picture is shown, with square pixels.
struct PictureShape {
    int width = 0;
    int height = 0;

    /// From the stored size and the shape of a pixel; the width is stretched, as players do.
    static PictureShape of(int width, int height, AVRational pixel) {
        if (pixel.num <= 0 || pixel.den <= 0) {
            return {width, height};
        }
        return {static_cast<int>(std::lround(width * av_q2d(pixel))), height};
    }
};
