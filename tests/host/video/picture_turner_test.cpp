#include "video/picture_turner.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "host/video/test_pictures.h"

using TestPictures::at;
using TestPictures::bytesOf;
using TestPictures::plain;
using TestPictures::varied;

namespace {

/// Where the pixel (x, y) of a plane of `width` x `height` is seen.
std::pair<int, int> seenAt(int x, int y, int width, int height, int rotation) {
    switch (rotation) {
        case 90:
            return {height - 1 - y, x};
        case 180:
            return {width - 1 - x, height - 1 - y};
        case 270:
            return {y, width - 1 - x};
        default:
            return {x, y};
    }
}

void expectTurned(const AVFrame& upright, const AVFrame& seen, int rotation) {
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? upright.width : (upright.width + 1) / 2;
        const int height = plane == 0 ? upright.height : (upright.height + 1) / 2;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const auto [left, top] = seenAt(x, y, width, height, rotation);
                ASSERT_EQ(at(seen, plane, left, top), at(upright, plane, x, y))
                    << "plane " << plane << " at " << x << "," << y;
            }
        }
    }
}

}  // namespace

TEST(PictureTurner, TurnsClockwise) {
    for (const auto& [width, height] : {std::pair(64, 48), std::pair(50, 36), std::pair(33, 17),
                                        std::pair(1, 1), std::pair(2, 70)}) {
        const AvFrame upright = varied(width, height);
        for (const int rotation : {0, 90, 180, 270}) {
            PictureTurner turner(width, height, rotation);
            const AVFrame& seen = turner.turn(*upright);
            const bool isQuarter = rotation == 90 || rotation == 270;
            EXPECT_EQ(seen.width, isQuarter ? height : width);
            EXPECT_EQ(seen.height, isQuarter ? width : height);
            expectTurned(*upright, seen, rotation);
        }
    }
}

TEST(PictureTurner, NeverWritesToThePictureItIsGiven) {
    const AvFrame upright = varied(64, 48);
    const auto before = bytesOf(*upright);
    PictureTurner turner(64, 48, 0);
    AVFrame& seen = turner.turn(*upright);
    seen.data[0][0] = static_cast<std::uint8_t>(seen.data[0][0] + 1);
    EXPECT_EQ(bytesOf(*upright), before);
}

TEST(PictureTurner, ScalesToTheStreamsSize) {
    // Black to the left, white to the right, the upper half red.
    const AvFrame upright = plain(128, 96, 16);
    for (int y = 0; y < 96; ++y) {
        std::fill_n(upright->data[0] + y * upright->linesize[0] + 64, 64, std::uint8_t{235});
    }
    for (int y = 0; y < 24; ++y) {
        std::fill_n(upright->data[2] + y * upright->linesize[2], 64, std::uint8_t{240});
    }
    for (const auto& [width, height] :
         {std::pair(32, 24), std::pair(64, 48), std::pair(256, 192), std::pair(45, 33)}) {
        PictureTurner turner(width, height, 0);
        const AVFrame& seen = turner.turn(*upright);
        ASSERT_EQ(seen.width, width);
        ASSERT_EQ(seen.height, height);
        EXPECT_NEAR(at(seen, 0, width / 4, height / 2), 16, 1);
        EXPECT_NEAR(at(seen, 0, width * 3 / 4, height / 2), 235, 1);
        EXPECT_NEAR(at(seen, 2, width / 4, height / 8), 240, 1);
        EXPECT_NEAR(at(seen, 2, width / 4, height * 3 / 8), 128, 1);
    }
}

TEST(PictureTurner, ScalesBeforeItTurns) {
    const AvFrame upright = plain(128, 96, 16);
    for (int y = 0; y < 96; ++y) {
        std::fill_n(upright->data[0] + y * upright->linesize[0] + 64, 64, std::uint8_t{235});
    }
    PictureTurner turner(64, 48, 90);
    const AVFrame& seen = turner.turn(*upright);
    ASSERT_EQ(seen.width, 48);
    ASSERT_EQ(seen.height, 64);
    EXPECT_NEAR(at(seen, 0, 24, 16), 16, 1);  // what was to the left is above
    EXPECT_NEAR(at(seen, 0, 24, 48), 235, 1);
}

TEST(PictureTurner, FollowsPicturesOfAnotherSize) {
    PictureTurner turner(64, 48, 180);
    for (const auto& [width, height] :
         {std::pair(128, 96), std::pair(64, 48), std::pair(33, 17), std::pair(320, 240),
          std::pair(1, 1), std::pair(4096, 1), std::pair(3, 2)}) {
        const AVFrame& seen = turner.turn(*plain(width, height, 77, 50, 200));
        EXPECT_EQ(bytesOf(seen), bytesOf(*plain(64, 48, 77, 50, 200)));
    }
}

TEST(PictureTurner, RefusesPicturesOfAnotherForm) {
    const AvFrame picture = plain(64, 48);
    picture->format = AV_PIX_FMT_YUV422P;
    PictureTurner turner(64, 48, 0);
    EXPECT_THROW(turner.turn(*picture), std::runtime_error);
}
