#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "video/image_pool.h"
#include "video/overlay_position.h"
#include "video/stream.h"

class CameraMemory;
struct PaletteBand;
struct PaletteImage;

/// What an application asks for. A plain value.
struct PaletteRequest {
    Stream stream;
    int width;   ///< pixels seen, even
    int height;  ///< pixels seen
    OverlayPosition position;
    std::string positionText;  ///< as it came
    bool isVisible;
    std::string owner;  ///< unique name on the bus
};

/// A band of palette pixels that an application draws over a stream. It gets two buffers by turns
/// and fills one while the other is shown; what it submits is copied, since it may write to both at
/// any time. A buffer is 64 bytes of the service's own, the image, and some room behind it.
///
/// States of the buffers: none handed out <-> one handed out. One thread at a time, except that
/// images that were handed out may be held anywhere.
class PaletteOverlay {
public:
    /// The memory is borrowed.
    PaletteOverlay(PaletteRequest request, CameraMemory& memory);
    ~PaletteOverlay();
    PaletteOverlay(const PaletteOverlay&) = delete;
    PaletteOverlay& operator=(const PaletteOverlay&) = delete;

    const PaletteRequest& get() const { return request; }
    void setVisible(bool isVisible) { request.isVisible = isVisible; }

    /// The buffer to fill next, or the one that is handed out already; none when memory is short.
    std::optional<int> handOutBuffer();
    /// A copy of what a buffer holds, which is not handed out any more; null for another buffer
    /// than the one that is. Throws std::system_error.
    std::shared_ptr<const PaletteImage> takeBack(int buffer);
    /// What is shown from now on.
    void show(std::shared_ptr<const PaletteImage> image);

    /// What lies over the stream: nothing while it is invisible or has no image.
    std::optional<PaletteBand> getBand() const;

private:
    PaletteRequest request;
    CameraMemory& memory;  // borrowed
    ImagePool pool;
    std::array<std::optional<int>, 2> buffers;  // offsets
    std::size_t next = 0;                       // which of them is filled next
    bool isHandedOut = false;
    std::shared_ptr<const PaletteImage> shown;
};
