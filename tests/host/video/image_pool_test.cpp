#include "video/image_pool.h"

#include <gtest/gtest.h>

#include <optional>

#include "video/overlay_snapshot.h"

namespace {

TEST(ImagePool, GivesImagesOfItsSize) {
    ImagePool pool(32, 16);
    const std::shared_ptr<PaletteImage> image = pool.take();
    EXPECT_EQ(image->width, 32);
    EXPECT_EQ(image->height, 16);
    EXPECT_EQ(image->pixels.size(), 256U);
}

TEST(ImagePool, GivesNoImageThatSomebodyHas) {
    ImagePool pool(32, 16);
    const std::shared_ptr<PaletteImage> one = pool.take();
    const std::shared_ptr<PaletteImage> other = pool.take();
    EXPECT_NE(one, other);
}

TEST(ImagePool, GivesAnImageAgainThatNobodyHasAnyMore) {
    ImagePool pool(32, 16);
    std::shared_ptr<PaletteImage> image = pool.take();
    std::shared_ptr<const PaletteImage> shared = image;
    const PaletteImage* place = image.get();
    image.reset();
    EXPECT_NE(pool.take().get(), place);
    shared.reset();
    std::vector<std::shared_ptr<PaletteImage>> taken = {pool.take(), pool.take()};
    EXPECT_TRUE(taken[0].get() == place || taken[1].get() == place);
}

TEST(ImagePool, IsOutlivedByItsImages) {
    std::optional<ImagePool> pool(std::in_place, 32, 16);
    const std::shared_ptr<PaletteImage> image = pool->take();
    pool.reset();
    image->pixels.front() = 0x44;
    EXPECT_EQ(image->pixels.front(), 0x44);
}

}  // namespace
