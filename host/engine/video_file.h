#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "engine/av_pointers.h"
#include "engine/input_file.h"
#include "engine/picture_shape.h"
#include "engine/video_decoder.h"

/// The first video stream of a file, from its beginning to its end. Opens nothing but the one file,
/// whatever that refers to.
class VideoFile {
public:
    /// `source` is borrowed. Throws SourceError "NAME: reason" if there is no video in it.
    explicit VideoFile(const InputFile& source);
    VideoFile(const VideoFile&) = delete;
    VideoFile& operator=(const VideoFile&) = delete;

    /// The next picture, borrowed until the next call; null at the end, see failure().
    const AVFrame* next();
    /// The time that the file gives the last picture, in nanoseconds.
    std::optional<std::int64_t> time() const;

    /// Why it could not be read further; 0 if the end was the end of the file.
    int failure() const { return readError; }
    /// Damaged pieces that were left out.
    long damaged() const { return decoder ? decoder->damaged() : 0; }

    PictureShape shape() const;
    /// 0: not known.
    double framesPerSecond() const;

private:
    static int readBytes(void* self, std::uint8_t* buffer, int size);
    static std::int64_t seek(void* self, std::int64_t offset, int whence);
    void open();
    bool sendNextPacket();
    const AVStream& stream() const;

    const InputFile& file;  // borrowed
    std::int64_t position = 0;
    AvInput input;
    AvFormat format;
    std::unique_ptr<VideoDecoder> decoder;
    AvPacket packet;
    const AVFrame* picture = nullptr;  // the decoder's
    int streamIndex = -1;
    int readError = 0;
    bool drained = false;
};
