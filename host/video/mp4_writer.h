#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "engine/av_pointers.h"

struct H264Format;
struct H264Picture;

/// Writes H.264 pictures as a fragmented MP4 file that one viewer plays as it comes: a head, then a
/// fragment for each picture. Times count from the first one's. Used from one thread.
class Mp4Writer {
public:
    /// Throws std::runtime_error for a format that cannot be written.
    explicit Mp4Writer(const H264Format& format);
    ~Mp4Writer();
    Mp4Writer(const Mp4Writer&) = delete;
    Mp4Writer& operator=(const Mp4Writer&) = delete;

    /// The bytes that the picture adds to the file; the first ones begin with the head. Pictures
    /// may be left out before a key picture, the first must be one. Throws std::runtime_error.
    std::string write(const H264Picture& picture);

private:
    void setTimes(std::int64_t pictureTime);
    static int take(void* writer, std::uint8_t* data, int size);

    AvInput output;
    AvOutputFormat muxer;
    AvPacket packet;
    std::string taken;  ///< what the muxer has written and write() has not handed out
    // Microseconds.
    std::optional<std::int64_t> firstTime;
    std::int64_t lastTime = 0;
    std::int64_t interval = 0;      ///< between the last two pictures
    std::int64_t lastInterval = 0;  ///< between the two before
    std::int64_t shownFrom = 0;     ///< of the last picture, from firstTime on
    std::int64_t shownTo = 0;
};
