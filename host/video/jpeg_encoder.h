#pragma once

#include <memory>
#include <string>

#include "engine/av_pointers.h"

/// Encodes yuv420p pictures of limited range, all of one size, as JPEG. Used from one thread.
class JpegEncoder {
public:
    /// Throws std::runtime_error for a size that JPEG cannot hold.
    JpegEncoder(int width, int height);

    /// The file's content. Throws std::runtime_error when the picture cannot be encoded.
    std::shared_ptr<const std::string> encode(const AVFrame& picture);

private:
    AvCodec encoder;
    AvFrame fullRange;
    AvPacket packet;
};
