#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "engine/av_pointers.h"

/// What one picture became.
struct H264Picture {
    std::string data;
    bool isKey;
    std::int64_t time;  ///< microseconds
};

/// What is the same for all pictures of an encoder.
struct H264Format {
    int width;  ///< pixels
    int height;
    std::string parameterSets;

    friend bool operator==(const H264Format&, const H264Format&) = default;
};

/// Encodes yuv420p pictures, BT.601, limited range, all of one size, as H.264, each at once: no
/// picture waits for another. H.264 wants even sides: of odd ones, the last column or line is left
/// out. A key picture comes at least every two seconds. Used from one thread.
class H264Encoder {
public:
    /// Throws std::runtime_error for a size that cannot be encoded.
    H264Encoder(int width, int height);

    /// `time` is in microseconds on any clock that does not go back; a time that is not later than
    /// the last one counts as the next microsecond. Throws std::runtime_error when the picture
    /// cannot be encoded.
    std::shared_ptr<const H264Picture> encode(const AVFrame& picture, std::int64_t time,
                                              bool mustBeKey);

    const H264Format& getFormat() const { return format; }

private:
    std::int64_t nextTime(std::int64_t time);

    AvCodec encoder;
    AvFrame cropped;
    AvPacket packet;
    H264Format format;
    std::int64_t lastTime;
    std::int64_t lastKeyTime;
};
