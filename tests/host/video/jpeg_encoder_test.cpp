#include "video/jpeg_encoder.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "host/video/test_pictures.h"

using TestPictures::at;
using TestPictures::decodeJpeg;
using TestPictures::plain;
using TestPictures::varied;

namespace {

/// The full range value of a limited one.
int widened(int plane, int value) {
    return plane == 0 ? (value - 16) * 255 / 219 : (value - 128) * 255 / 224 + 128;
}

}  // namespace

TEST(JpegEncoder, KeepsSizeFormAndColors) {
    JpegEncoder encoder(64, 48);
    const AvFrame picture = decodeJpeg(*encoder.encode(*plain(64, 48, 81, 90, 240)));
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->width, 64);
    EXPECT_EQ(picture->height, 48);
    EXPECT_EQ(picture->format, AV_PIX_FMT_YUVJ420P);
    for (int plane = 0; plane < 3; ++plane) {
        const int values[] = {81, 90, 240};
        EXPECT_NEAR(at(*picture, plane, 10, 10), widened(plane, values[plane]), 2) << plane;
    }
}

TEST(JpegEncoder, ShowsBlackAndWhiteInFull) {
    JpegEncoder encoder(64, 48);
    EXPECT_LE(at(*decodeJpeg(*encoder.encode(*plain(64, 48, 16))), 0, 20, 20), 1);
    EXPECT_GE(at(*decodeJpeg(*encoder.encode(*plain(64, 48, 235))), 0, 20, 20), 254);
    EXPECT_LE(at(*decodeJpeg(*encoder.encode(*plain(64, 48, 0))), 0, 20, 20), 1);
    EXPECT_GE(at(*decodeJpeg(*encoder.encode(*plain(64, 48, 255))), 0, 20, 20), 254);
}

TEST(JpegEncoder, KeepsDetails) {
    JpegEncoder encoder(96, 64);
    const AvFrame original = varied(96, 64);
    const AvFrame picture = decodeJpeg(*encoder.encode(*original));
    double difference = 0;
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 96; ++x) {
            difference += std::abs(at(*picture, 0, x, y) - widened(0, at(*original, 0, x, y)));
        }
    }
    EXPECT_LT(difference / (96 * 64), 4);
}

TEST(JpegEncoder, EncodesOnePictureAfterTheOther) {
    JpegEncoder encoder(64, 48);
    std::vector<int> lumas;
    for (const int luma : {16, 126, 235}) {
        const AvFrame picture = decodeJpeg(*encoder.encode(*plain(64, 48, luma)));
        lumas.push_back((at(*picture, 0, 30, 30) + 8) / 16 * 16);
    }
    EXPECT_THAT(lumas, testing::ElementsAre(0, 128, 256));
}

TEST(JpegEncoder, TakesOddSizes) {
    for (const auto& [width, height] : {std::pair(33, 17), std::pair(1, 1), std::pair(641, 479)}) {
        JpegEncoder encoder(width, height);
        const AvFrame picture = decodeJpeg(*encoder.encode(*varied(width, height)));
        ASSERT_TRUE(picture);
        EXPECT_EQ(picture->width, width);
        EXPECT_EQ(picture->height, height);
    }
}

TEST(JpegEncoder, RefusesWhatJpegCannotHold) {
    EXPECT_THROW(JpegEncoder(70000, 2), std::runtime_error);
}
