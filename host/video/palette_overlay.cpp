#include "video/palette_overlay.h"

#include <cmath>
#include <utility>

#include "video/camera_memory.h"
#include "video/overlay_snapshot.h"

namespace {

constexpr int kHeaderSize = 64;  // bytes
/// Clients map 32 bytes more than header and image.
constexpr int kRoomBehind = 64;  // bytes

int imageSize(const PaletteRequest& request) {
    return request.width * request.height / 2;
}

int toPixels(double coordinate, int side) {
    return static_cast<int>(std::lround((coordinate + 1.0) / 2.0 * side));
}

}  // namespace

PaletteOverlay::PaletteOverlay(PaletteRequest theRequest, CameraMemory& theMemory)
    : request(std::move(theRequest)), memory(theMemory), pool(request.width, request.height) {}

PaletteOverlay::~PaletteOverlay() {
    for (const std::optional<int>& buffer : buffers) {
        if (buffer) {
            memory.free(*buffer);
        }
    }
}

std::optional<int> PaletteOverlay::handOutBuffer() {
    std::optional<int>& buffer = buffers[next];
    if (!buffer) {
        buffer = memory.allocate(kHeaderSize + imageSize(request) + kRoomBehind);
    }
    isHandedOut = buffer.has_value();
    return buffer;
}

std::shared_ptr<const PaletteImage> PaletteOverlay::takeBack(int buffer) {
    if (!isHandedOut || buffers[next] != buffer) {
        return nullptr;
    }
    std::shared_ptr<PaletteImage> image = pool.take();
    memory.read(buffer + kHeaderSize, image->pixels.data(), image->pixels.size());
    isHandedOut = false;
    next = 1 - next;
    return image;
}

void PaletteOverlay::show(std::shared_ptr<const PaletteImage> image) {
    shown = std::move(image);
}

std::optional<PaletteBand> PaletteOverlay::getBand() const {
    if (!request.isVisible || shown == nullptr) {
        return std::nullopt;
    }
    // In the size before the picture is turned: so clients count.
    return PaletteBand{toPixels(request.position.x, request.stream.width),
                       toPixels(request.position.y, request.stream.height), shown};
}
