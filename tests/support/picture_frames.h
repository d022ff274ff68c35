#pragma once

#include <cstdint>
#include <cstring>

#include "engine/av_pointers.h"

/// Pictures for tests of what takes them, and looks at them.
namespace PictureFrames {

struct Color {
    std::uint8_t y = 0;
    std::uint8_t u = 128;
    std::uint8_t v = 128;

    friend bool operator==(const Color&, const Color&) = default;
};

/// The rows of a plane of an 8-bit planar format that has its colours at half the width, and at
/// half the height if it is one of those with 420.
inline int rowsOf(const AVFrame& frame, int plane) {
    const bool isHalf = frame.format == AV_PIX_FMT_YUV420P || frame.format == AV_PIX_FMT_YUVJ420P;
    return plane > 0 && isHalf ? (frame.height + 1) / 2 : frame.height;
}

inline int columnsOf(const AVFrame& frame, int plane) {
    return plane > 0 ? (frame.width + 1) / 2 : frame.width;
}

/// A picture of one colour.
inline AvFrame uniform(int width, int height, Color color,
                       AVPixelFormat format = AV_PIX_FMT_YUV420P) {
    AvFrame frame(av_frame_alloc());
    frame->width = width;
    frame->height = height;
    frame->format = format;
    av_frame_get_buffer(frame.get(), 0);
    const std::uint8_t values[] = {color.y, color.u, color.v};
    for (int plane = 0; plane < 3; ++plane) {
        std::memset(frame->data[plane], values[plane],
                    static_cast<std::size_t>(frame->linesize[plane]) *
                        static_cast<std::size_t>(rowsOf(*frame, plane)));
    }
    return frame;
}

/// Gives each point of each plane a value of its own, as far as 8 bits go.
inline void drawPattern(AVFrame& frame, int seed) {
    for (int plane = 0; plane < 3; ++plane) {
        for (int y = 0; y < rowsOf(frame, plane); ++y) {
            for (int x = 0; x < columnsOf(frame, plane); ++x) {
                frame.data[plane][y * frame.linesize[plane] + x] =
                    static_cast<std::uint8_t>(x * 7 + y * 13 + plane * 29 + seed);
            }
        }
    }
}

/// Every point has the colour.
inline bool isUniform(const AVFrame& frame, Color color) {
    const std::uint8_t values[] = {color.y, color.u, color.v};
    for (int plane = 0; plane < 3; ++plane) {
        for (int y = 0; y < rowsOf(frame, plane); ++y) {
            for (int x = 0; x < columnsOf(frame, plane); ++x) {
                if (frame.data[plane][y * frame.linesize[plane] + x] != values[plane]) {
                    return false;
                }
            }
        }
    }
    return true;
}

/// Both have the same points.
inline bool isSame(const AVFrame& one, const AVFrame& other) {
    if (one.width != other.width || one.height != other.height || one.format != other.format) {
        return false;
    }
    for (int plane = 0; plane < 3; ++plane) {
        for (int y = 0; y < rowsOf(one, plane); ++y) {
            if (std::memcmp(one.data[plane] + y * one.linesize[plane],
                            other.data[plane] + y * other.linesize[plane],
                            static_cast<std::size_t>(columnsOf(one, plane))) != 0) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace PictureFrames
