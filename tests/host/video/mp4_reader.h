#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/av_pointers.h"

/// What a player sees of an MP4 file of one H.264 video.
struct Mp4Reader {
    struct Packet {
        std::int64_t time;      ///< microseconds
        std::int64_t duration;  ///< microseconds
        bool isKey;
    };

    /// Reads a file as far as it goes.
    explicit Mp4Reader(const std::string& file);

    bool isOpen = false;
    int width = 0;
    int height = 0;
    std::string videoFormat;  ///< the container's four characters
    std::vector<Packet> packets;
    std::vector<AvFrame> pictures;  ///< decoded
};

/// The names of the boxes on top of an MP4 file; ends with "?" where the rest is no whole box.
std::vector<std::string> mp4BoxesOf(const std::string& file);
