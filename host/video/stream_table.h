#pragma once

#include <optional>
#include <vector>

#include "video/stream.h"
#include "video/video_options.h"

/// The streams that a device offers: for each camera its native resolution,
/// then those of 1280, 640 and 320 pixels of width (other than the native one)
/// that keep its ratio exactly with both sides a multiple of 16; each at the
/// four rotations, 0, 90, 180, 270. Ids count from 1 in this order. Constant.
class StreamTable {
public:
    explicit StreamTable(const std::vector<VideoOptions::Camera>& cameras);

    const std::vector<Stream>& getStreams() const { return streams; }
    std::optional<Stream> find(int id) const;
    std::optional<Stream> find(int camera, int width, int height, int rotation) const;
    /// The first one of a camera.
    std::optional<Stream> findNative(int camera, int rotation) const;

private:
    std::vector<Stream> streams;
};
