#include "video/picture_turner.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "video/picture_frame.h"

namespace {

/// What is turned at a time, so that reading and writing both stay within the cache.
constexpr int tile = 16;

/// One plane of a picture. Rows are `stride` bytes apart.
struct Plane {
    std::uint8_t* data;
    std::ptrdiff_t stride;
    int width;
    int height;

    static Plane of(const AVFrame& frame, int index) {
        const int shift = index == 0 ? 0 : 1;
        return {frame.data[index], frame.linesize[index], (frame.width + shift) >> shift,
                (frame.height + shift) >> shift};
    }

    std::uint8_t* row(int y) const { return data + y * stride; }
};

void copyPlane(const Plane& from, const Plane& to) {
    for (int y = 0; y < to.height; ++y) {
        std::memcpy(to.row(y), from.row(y), static_cast<std::size_t>(to.width));
    }
}

void turnOver(const Plane& from, const Plane& to) {
    for (int y = 0; y < to.height; ++y) {
        const std::uint8_t* row = from.row(to.height - 1 - y);
        std::reverse_copy(row, row + to.width, to.row(y));
    }
}

/// Each column of `from` becomes a row: `to` begins at its first pixel, and goes on by `step` for
/// each row of `from` and by `rowStep` for each of its columns.
void transpose(const Plane& from, std::uint8_t* to, std::ptrdiff_t step, std::ptrdiff_t rowStep) {
    for (int top = 0; top < from.height; top += tile) {
        const int bottom = std::min(top + tile, from.height);
        for (int left = 0; left < from.width; left += tile) {
            const int right = std::min(left + tile, from.width);
            for (int x = left; x < right; ++x) {
                const std::uint8_t* source = from.row(top) + x;
                std::uint8_t* target = to + x * rowStep + top * step;
                for (int y = top; y < bottom; ++y) {
                    *target = *source;
                    source += from.stride;
                    target += step;
                }
            }
        }
    }
}

void turnPlane(const Plane& from, const Plane& to, int rotation) {
    switch (rotation) {
        case 90:
            transpose(from, to.data + to.width - 1, -1, to.stride);
            break;
        case 180:
            turnOver(from, to);
            break;
        case 270:
            transpose(from, to.row(to.height - 1), 1, -to.stride);
            break;
        default:
            copyPlane(from, to);
    }
}

bool isQuarter(int rotation) {
    return rotation == 90 || rotation == 270;
}

}  // namespace

PictureTurner::PictureTurner(int streamWidth, int streamHeight, int streamRotation)
    : width(streamWidth),
      height(streamHeight),
      rotation(streamRotation),
      turned(isQuarter(streamRotation) ? makePictureFrame(streamHeight, streamWidth)
                                       : makePictureFrame(streamWidth, streamHeight)) {}

AVFrame& PictureTurner::turn(const AVFrame& upright) {
    const AVFrame& source = scale(upright);
    for (int plane = 0; &source != turned.get() && plane < 3; ++plane) {
        turnPlane(Plane::of(source, plane), Plane::of(*turned, plane), rotation);
    }
    return *turned;
}

// In place of the result where nothing is turned.
const AVFrame& PictureTurner::scale(const AVFrame& upright) {
    if (upright.format != AV_PIX_FMT_YUV420P) {
        throw std::runtime_error("a picture of an unknown form");
    }
    if (upright.width == width && upright.height == height) {
        return upright;
    }
    if (rotation != 0 && !scaled) {
        scaled = makePictureFrame(width, height);
    }
    const AVFrame& target = rotation == 0 ? *turned : *scaled;
    scaler.reset(sws_getCachedContext(scaler.release(), upright.width, upright.height,
                                      AV_PIX_FMT_YUV420P, width, height, AV_PIX_FMT_YUV420P,
                                      SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!scaler || sws_scale(scaler.get(), upright.data, upright.linesize, 0, upright.height,
                             target.data, target.linesize) != height) {
        throw std::runtime_error("a picture could not be scaled");
    }
    return target;
}
