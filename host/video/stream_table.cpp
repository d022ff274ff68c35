#include "video/stream_table.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::array<int, 3> kFurtherWidths = {1280, 640, 320};
constexpr std::array<int, 4> kRotations = {0, 90, 180, 270};
/// What encoders and overlays are made of, in pixels.
constexpr int kBlock = 16;

using Size = VideoOptions::Camera;

std::vector<Size> findSizes(const Size& native) {
    std::vector<Size> sizes = {native};
    for (const int width : kFurtherWidths) {
        const int height = width * native.height / native.width;
        const bool isExact = height * native.width == width * native.height;
        if (width != native.width && isExact && width % kBlock == 0 && height % kBlock == 0) {
            sizes.push_back({width, height});
        }
    }
    return sizes;
}

}  // namespace

StreamTable::StreamTable(const std::vector<VideoOptions::Camera>& cameras) {
    int camera = 0;
    int id = 0;
    for (const VideoOptions::Camera& native : cameras) {
        ++camera;
        for (const Size& size : findSizes(native)) {
            for (const int rotation : kRotations) {
                streams.push_back({++id, camera, size.width, size.height, rotation});
            }
        }
    }
}

std::optional<Stream> StreamTable::find(int id) const {
    const bool isThere = id >= 1 && id <= static_cast<int>(streams.size());
    return isThere ? std::optional(streams[static_cast<std::size_t>(id - 1)]) : std::nullopt;
}

std::optional<Stream> StreamTable::find(int camera, int width, int height, int rotation) const {
    const auto found = std::find_if(streams.begin(), streams.end(), [&](const Stream& stream) {
        return stream == Stream{stream.id, camera, width, height, rotation};
    });
    return found != streams.end() ? std::optional(*found) : std::nullopt;
}

std::optional<Stream> StreamTable::findNative(int camera, int rotation) const {
    const auto found = std::find_if(streams.begin(), streams.end(), [&](const Stream& stream) {
        return stream.camera == camera && stream.rotation == rotation;
    });
    return found != streams.end() ? std::optional(*found) : std::nullopt;
}
