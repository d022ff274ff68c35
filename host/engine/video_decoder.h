#pragma once

#include "engine/av_pointers.h"

/// Decodes one video stream's packets to pictures. A damaged packet costs pictures, never the
/// stream.
class VideoDecoder {
public:
    /// Throws std::runtime_error if there is no decoder for the stream.
    explicit VideoDecoder(const AVCodecParameters& parameters);

    /// Puts in the next packet, or null for the end of the stream. Take out all pictures in
    /// between.
    void send(const AVPacket* packet);
    /// The next picture, borrowed until the next call; null when the decoder needs more packets.
    const AVFrame* receive();

    /// Packets and pictures so far that could not be decoded.
    long damaged() const { return failures; }

private:
    AvCodec context;
    AvFrame frame;
    long failures = 0;
};
