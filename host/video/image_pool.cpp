#include "video/image_pool.h"

#include <mutex>
#include <utility>

#include "video/overlay_snapshot.h"

namespace {

/// While one is shown and one is filled, another may still be looked at.
constexpr std::size_t kMostSpares = 2;

}  // namespace

/// What is not in use; an image finds its way back to it.
class ImagePool::Shelf {
public:
    Shelf() { spares.reserve(kMostSpares); }

    std::unique_ptr<PaletteImage> take() {
        const std::lock_guard lock(mutex);
        if (spares.empty()) {
            return nullptr;
        }
        std::unique_ptr<PaletteImage> image = std::move(spares.back());
        spares.pop_back();
        return image;
    }

    void put(std::unique_ptr<PaletteImage> image) {
        const std::lock_guard lock(mutex);
        if (spares.size() < kMostSpares) {
            spares.push_back(std::move(image));
        }
    }

private:
    std::mutex mutex;
    std::vector<std::unique_ptr<PaletteImage>> spares;  // guarded by mutex
};

ImagePool::ImagePool(int imageWidth, int imageHeight)
    : width(imageWidth), height(imageHeight), shelf(std::make_shared<Shelf>()) {}

std::shared_ptr<PaletteImage> ImagePool::take() {
    std::unique_ptr<PaletteImage> image = shelf->take();
    if (image == nullptr) {
        image = std::make_unique<PaletteImage>();
        image->width = width;
        image->height = height;
        image->pixels.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) /
                             2);
    }
    return {image.release(), [back = shelf](PaletteImage* returned) {
                back->put(std::unique_ptr<PaletteImage>(returned));
            }};
}
