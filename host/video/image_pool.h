#pragma once

#include <memory>

struct PaletteImage;

/// Images of one size that are filled again once nobody looks at them any more, so that a frame
/// costs no memory of its own. Images may outlive the pool. Any thread.
class ImagePool {
public:
    ImagePool(int width, int height);

    /// An image of this size that nobody else has; its pixels may be old ones.
    std::shared_ptr<PaletteImage> take();

private:
    class Shelf;

    const int width;   // pixels
    const int height;  // pixels
    std::shared_ptr<Shelf> shelf;
};
