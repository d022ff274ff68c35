#include "video/overlay_store.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <limits>
#include <set>
#include <thread>

namespace {

constexpr int kHeaderSize = 64;
const Stream kStream = {1, 1, 1280, 720, 0};

class OverlayStoreTest : public testing::Test {
protected:
    static PaletteRequest request(bool isVisible = true) {
        return {kStream, 32, 16, {-1.0, -0.9111}, "-1.0000,-0.9111", isVisible, ":1.7"};
    }
    /// Writes an image of one value over the whole buffer as a client would.
    void fill(int buffer, std::uint8_t value) {
        const std::vector<std::uint8_t> pixels(32 * 16 / 2, value);
        ASSERT_EQ(pwrite(store.getMemory(), pixels.data(), pixels.size(), buffer + kHeaderSize),
                  static_cast<ssize_t>(pixels.size()));
    }
    /// Shows an image of one value.
    void show(int id, std::uint8_t value) {
        const std::optional<int> buffer = store.handOutBuffer(id);
        ASSERT_TRUE(buffer);
        fill(*buffer, value);
        ASSERT_TRUE(store.submitBuffer(id, *buffer));
    }
    std::vector<PaletteBand> bands(const Stream& stream = kStream) const {
        return store.getSnapshot(stream).bands;
    }

    OverlayStore store;
};

TEST_F(OverlayStoreTest, ShowsWhatWasSubmitted) {
    const int id = store.addPalette(request());
    show(id, 0x45);
    ASSERT_EQ(bands().size(), 1U);
    const PaletteImage& image = *bands()[0].image;
    EXPECT_EQ(image.width, 32);
    EXPECT_EQ(image.height, 16);
    EXPECT_EQ(image.pixels, std::vector<std::uint8_t>(256, 0x45));
}

TEST_F(OverlayStoreTest, ShowsNothingWithoutAnImageOrWhileItIsInvisible) {
    const int id = store.addPalette(request(false));
    EXPECT_TRUE(bands().empty());
    show(id, 0x44);
    EXPECT_TRUE(bands().empty());
    store.setVisible(id, true);
    EXPECT_EQ(bands().size(), 1U);
    store.addPalette(request());
    EXPECT_EQ(bands().size(), 1U);
    store.setVisible(id, false);
    EXPECT_TRUE(bands().empty());
}

TEST_F(OverlayStoreTest, CountsTheBandsPlaceInTheStreamsSizeBeforeItIsTurned) {
    PaletteRequest turned = request();
    turned.stream = {2, 1, 1280, 720, 90};
    turned.position = {0.5, -0.9111};  // 2 * 32 / 720 - 1 with four decimals
    show(store.addPalette(turned), 0x44);
    EXPECT_TRUE(bands().empty());
    ASSERT_EQ(bands(turned.stream).size(), 1U);
    EXPECT_EQ(bands(turned.stream)[0].left, 960);
    EXPECT_EQ(bands(turned.stream)[0].top, 32);
}

TEST_F(OverlayStoreTest, HandsOutTwoBuffersByTurns) {
    const int id = store.addPalette(request());
    std::vector<int> buffers;
    for (int frame = 0; frame < 5; ++frame) {
        buffers.push_back(store.handOutBuffer(id).value());
        EXPECT_EQ(store.handOutBuffer(id), buffers.back());
        EXPECT_TRUE(store.submitBuffer(id, buffers.back()));
    }
    EXPECT_NE(buffers[0], buffers[1]);
    EXPECT_EQ(buffers,
              (std::vector<int>{buffers[0], buffers[1], buffers[0], buffers[1], buffers[0]}));
}

TEST_F(OverlayStoreTest, TakesOnlyTheBufferThatIsHandedOut) {
    const int id = store.addPalette(request());
    EXPECT_FALSE(store.submitBuffer(id, 0));
    const int first = store.handOutBuffer(id).value();
    EXPECT_FALSE(store.submitBuffer(id, first + 4096));
    EXPECT_TRUE(store.submitBuffer(id, first));
    EXPECT_FALSE(store.submitBuffer(id, first));
    store.handOutBuffer(id);
    EXPECT_FALSE(store.submitBuffer(id, first));
}

TEST_F(OverlayStoreTest, ShowsACopyThatNobodyCanChange) {
    const int id = store.addPalette(request());
    show(id, 0x44);
    const PaletteBand before = bands()[0];
    fill(store.handOutBuffer(id).value(), 0x55);
    fill(0, 0x11);
    EXPECT_EQ(before.image->pixels.front(), 0x44);
    EXPECT_EQ(bands()[0].image, before.image);
    show(id, 0x55);
    EXPECT_EQ(before.image->pixels.front(), 0x44);
    EXPECT_EQ(bands()[0].image->pixels.front(), 0x55);
}

TEST_F(OverlayStoreTest, NeedsNoNewImagesOnceAFewAreThere) {
    const int id = store.addPalette(request());
    std::set<const PaletteImage*> images;
    std::vector<PaletteBand> looked;
    for (int frame = 0; frame < 50; ++frame) {
        show(id, 0x44);
        looked = bands();
        images.insert(looked[0].image.get());
    }
    EXPECT_LE(images.size(), 3U);
}

TEST_F(OverlayStoreTest, GivesBuffersBackWithTheirOverlay) {
    PaletteRequest large = request();
    large.width = 8192;
    large.height = 8192;
    for (int round = 0; round < 5; ++round) {
        const int id = store.addPalette(large);
        const std::optional<int> first = store.handOutBuffer(id);
        ASSERT_TRUE(first);
        store.submitBuffer(id, *first);
        ASSERT_TRUE(store.handOutBuffer(id));
        store.removePalette(id);
    }
}

TEST_F(OverlayStoreTest, HandsOutNothingWhenMemoryIsShort) {
    PaletteRequest large = request();
    large.width = 8192;
    large.height = 8192;
    std::vector<std::optional<int>> buffers;
    for (int overlay = 0; overlay < 5; ++overlay) {
        buffers.push_back(store.handOutBuffer(store.addPalette(large)));
    }
    EXPECT_TRUE(buffers[0]);
    EXPECT_FALSE(buffers[4]);
}

TEST_F(OverlayStoreTest, KeepsTheOverlaysOfOwnersApart) {
    const int one = store.addPalette(request());
    PaletteRequest others = request();
    others.owner = ":1.8";
    const int other = store.addPalette(others);
    EXPECT_EQ(store.listPalettes(":1.7"), std::vector<int>{one});
    EXPECT_EQ(store.listPalettes(std::nullopt), (std::vector<int>{one, other}));
    store.removePalette(one);
    EXPECT_EQ(store.findPalette(one), nullptr);
    EXPECT_EQ(store.findPalette(other)->get().owner, ":1.8");
}

TEST_F(OverlayStoreTest, HasAPaletteThatIsTransparentAtFirst) {
    EXPECT_EQ(store.getSnapshot(kStream).palette, Palette());
    store.setColor(15, {255, 1, 2, 155});
    EXPECT_EQ(store.getSnapshot(kStream).palette[15], (PaletteColor{255, 1, 2, 155}));
}

TEST_F(OverlayStoreTest, ShowsOverlaysOfPersonsOnAllStreamsOfTheirCamera) {
    UserOverlay overlay;
    overlay.id = 9;
    overlay.camera = 2;
    overlay.text = "Gate 3";
    store.putUser(overlay);
    EXPECT_TRUE(store.getSnapshot(kStream).users.empty());
    ASSERT_EQ(store.getSnapshot({9, 2, 640, 480, 90}).users.size(), 1U);
    EXPECT_EQ(store.getSnapshot({8, 2, 640, 480, 0}).users[0].text, "Gate 3");
    overlay.text = "Gate 4";
    store.putUser(overlay);
    EXPECT_EQ(store.findUser(9)->text, "Gate 4");
    store.removeUser(9);
    EXPECT_TRUE(store.getSnapshot({9, 2, 640, 480, 90}).users.empty());
}

TEST_F(OverlayStoreTest, GivesEveryOverlayAnIdOfItsOwn) {
    UserOverlay overlay;
    overlay.id = 9;
    store.putUser(overlay);
    EXPECT_EQ(store.addPalette(request()), 10);
    store.skipIds(12);
    EXPECT_EQ(store.takeId(), 13);
    store.skipIds(5);
    EXPECT_EQ(store.takeId(), 14);
    store.skipIds(std::numeric_limits<int>::max() - 1);
    EXPECT_EQ(store.takeId(), std::numeric_limits<int>::max());
    for (int id = 1; id < 9; ++id) {
        EXPECT_EQ(store.takeId(), id);
    }
    EXPECT_EQ(store.takeId(), 11);
}

TEST_F(OverlayStoreTest, MayBeAskedWhileItChanges) {
    std::atomic<bool> ends = false;
    std::vector<std::thread> askers;
    std::atomic<int> torn = 0;
    for (int asker = 0; asker < 2; ++asker) {
        askers.emplace_back([&] {
            while (!ends) {
                for (const PaletteBand& band : bands()) {
                    torn += band.image->pixels.front() != band.image->pixels.back() ? 1 : 0;
                }
            }
        });
    }
    for (int round = 0; round < 20; ++round) {
        const int id = store.addPalette(request());
        UserOverlay overlay;
        overlay.id = store.takeId();
        store.putUser(overlay);
        for (int frame = 0; frame < 20; ++frame) {
            show(id, static_cast<std::uint8_t>(frame));
            store.setVisible(id, frame % 3 != 0);
            store.setColor(4, {255, 0, 0, static_cast<std::uint8_t>(frame)});
        }
        store.removeUser(overlay.id);
        store.removePalette(id);
    }
    ends = true;
    for (std::thread& asker : askers) {
        asker.join();
    }
    EXPECT_EQ(torn, 0);
}

}  // namespace
