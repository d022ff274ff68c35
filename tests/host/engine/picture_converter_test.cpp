#include "engine/picture_converter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "support/picture_frames.h"

using PictureFrames::Color;
using PictureFrames::isUniform;
using PictureFrames::uniform;

namespace {

class PictureConverterTest : public testing::Test {
protected:
    void SetUp() override { av_log_set_level(AV_LOG_QUIET); }

    const AVFrame& convert(const AVFrame& picture) {
        return converter.convert(picture, picture.width, picture.height);
    }

    PictureConverter converter;
};

/// One colour of 8 bits in a packed format.
AvFrame packed(int width, int height, AVPixelFormat format,
               const std::vector<std::uint8_t>& point) {
    AvFrame frame(av_frame_alloc());
    frame->width = width;
    frame->height = height;
    frame->format = format;
    av_frame_get_buffer(frame.get(), 0);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::memcpy(
                frame->data[0] + y * frame->linesize[0] + x * static_cast<int>(point.size()),
                point.data(), point.size());
        }
    }
    return frame;
}

/// From full to limited range, exactly.
Color limited(Color full) {
    const auto chroma = [](std::uint8_t value) {
        return static_cast<std::uint8_t>(std::lround(128 + (value - 128) * 224 / 255.0));
    };
    return {static_cast<std::uint8_t>(std::lround(16 + full.y * 219 / 255.0)), chroma(full.u),
            chroma(full.v)};
}

}  // namespace

TEST_F(PictureConverterTest, LeavesAPictureThatIsRightAsItIs) {
    const AvFrame picture = uniform(64, 48, {100, 90, 80});
    EXPECT_EQ(&convert(*picture), picture.get());
    picture->color_range = AVCOL_RANGE_MPEG;
    picture->colorspace = AVCOL_SPC_BT470BG;
    EXPECT_EQ(&convert(*picture), picture.get());
}

TEST_F(PictureConverterTest, BringsFullRangeToLimited) {
    for (const Color color : {Color{0, 128, 128}, Color{255, 128, 128}, Color{128, 128, 128},
                              Color{76, 85, 255}, Color{29, 255, 107}}) {
        for (const AVPixelFormat format : {AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUVJ422P}) {
            const AvFrame picture = uniform(64, 48, color, format);
            EXPECT_TRUE(isUniform(convert(*picture), limited(color)))
                << int{color.y} << " in format " << format;
        }
    }
}

TEST_F(PictureConverterTest, IsNeverMoreThanOneStepFromTheExactRange) {
    for (int value = 0; value < 256; ++value) {
        const auto byte = static_cast<std::uint8_t>(value);
        const Color exact = limited({byte, byte, byte});
        const AvFrame picture = uniform(16, 16, {byte, byte, byte}, AV_PIX_FMT_YUVJ420P);
        const AVFrame& converted = convert(*picture);
        EXPECT_NEAR(converted.data[0][0], exact.y, 1) << value;
        EXPECT_NEAR(converted.data[1][0], exact.u, 1) << value;
        EXPECT_NEAR(converted.data[2][0], exact.v, 1) << value;
    }
}

TEST_F(PictureConverterTest, BringsFullRangeToLimitedWhenThePictureAloneTells) {
    const AvFrame picture = uniform(64, 48, {255, 85, 255});
    picture->color_range = AVCOL_RANGE_JPEG;
    EXPECT_TRUE(isUniform(convert(*picture), limited({255, 85, 255})));
}

TEST_F(PictureConverterTest, BringsOtherFormatsToItsOwn) {
    const Color color = {100, 90, 180};
    EXPECT_TRUE(isUniform(convert(*uniform(64, 48, color, AV_PIX_FMT_YUV422P)), color));
    // Y0 U Y1 V
    const AvFrame packedPicture = packed(64, 48, AV_PIX_FMT_YUYV422, {100, 90});
    for (int y = 0; y < 48; ++y) {
        for (int x = 3; x < 128; x += 4) {
            packedPicture->data[0][y * packedPicture->linesize[0] + x] = 180;
        }
    }
    EXPECT_TRUE(isUniform(convert(*packedPicture), color));
}

TEST_F(PictureConverterTest, KnowsTheColoursOfRgb) {
    const auto colorOf = [this](const std::vector<std::uint8_t>& rgb) {
        const AVFrame& picture = convert(*packed(64, 48, AV_PIX_FMT_RGB24, rgb));
        const Color color = {picture.data[0][0], picture.data[1][0], picture.data[2][0]};
        EXPECT_TRUE(isUniform(picture, color));
        return color;
    };
    EXPECT_EQ(colorOf({0, 0, 0}), (Color{16, 128, 128}));
    EXPECT_EQ(colorOf({255, 255, 255}), (Color{235, 128, 128}));
    EXPECT_EQ(colorOf({255, 0, 0}), (Color{81, 90, 240}));
    EXPECT_EQ(colorOf({0, 0, 255}), (Color{41, 240, 110}));
}

// Red of BT.709 is to be the red of BT.601, and so on, as near as rounded values come.
TEST_F(PictureConverterTest, KeepsTheColoursOfHighDefinition) {
    const std::pair<Color, Color> pairs[] = {
        {{16, 128, 128}, {16, 128, 128}},   {{235, 128, 128}, {235, 128, 128}},
        {{126, 128, 128}, {126, 128, 128}}, {{63, 102, 240}, {82, 90, 240}},
        {{173, 42, 26}, {145, 54, 34}},     {{32, 240, 118}, {41, 240, 110}},
    };
    for (const auto& [high, standard] : pairs) {
        for (const int side : {64, 63, 1}) {  // odd ones end within a block
            const AvFrame picture = uniform(side, side, high);
            picture->colorspace = AVCOL_SPC_BT709;
            EXPECT_TRUE(isUniform(convert(*picture), standard)) << int{high.y} << " " << side;
        }
    }
}

TEST_F(PictureConverterTest, KeepsTheColoursOfHighDefinitionWhenItScales) {
    const AvFrame picture = uniform(64, 48, {63, 102, 240});
    picture->colorspace = AVCOL_SPC_BT709;
    const AVFrame& scaled = converter.convert(*picture, 32, 24);
    EXPECT_NEAR(scaled.data[0][0], 81, 2);
    EXPECT_NEAR(scaled.data[1][0], 90, 2);
    EXPECT_NEAR(scaled.data[2][0], 240, 2);
}

TEST_F(PictureConverterTest, CutsOffColoursThatCannotBeShown) {
    const AvFrame picture = uniform(16, 16, {255, 255, 255});
    picture->colorspace = AVCOL_SPC_BT709;
    EXPECT_TRUE(isUniform(convert(*picture), {255, 240, 244}));
    const AvFrame dark = uniform(16, 16, {0, 0, 0});
    dark->colorspace = AVCOL_SPC_BT709;
    EXPECT_TRUE(isUniform(convert(*dark), {0, 15, 11}));
}

// Each colour belongs to its own block, also where pictures are odd.
TEST_F(PictureConverterTest, RecoloursEveryBlockByItself) {
    for (const auto& [width, height] : {std::pair(64, 48), std::pair(63, 47), std::pair(1, 1)}) {
        const AvFrame picture = uniform(width, height, {});
        PictureFrames::drawPattern(*picture, 5);
        picture->colorspace = AVCOL_SPC_BT709;
        const AVFrame& converted = convert(*picture);
        const auto at = [](const AVFrame& frame, int plane, int x, int y) {
            return int{frame.data[plane][y * frame.linesize[plane] + x]};
        };
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const int blue = at(*picture, 1, x / 2, y / 2) - 128;
                const int red = at(*picture, 2, x / 2, y / 2) - 128;
                const double luma = at(*picture, 0, x, y) + 0.099312 * blue + 0.191700 * red;
                ASSERT_NEAR(at(converted, 0, x, y), std::clamp(luma, 0.0, 255.0), 0.51);
                const double newBlue = 128 + 0.989854 * blue - 0.110653 * red;
                ASSERT_NEAR(at(converted, 1, x / 2, y / 2), std::clamp(newBlue, 0.0, 255.0), 0.51);
                const double newRed = 128 - 0.072453 * blue + 0.983398 * red;
                ASSERT_NEAR(at(converted, 2, x / 2, y / 2), std::clamp(newRed, 0.0, 255.0), 0.51);
            }
        }
    }
}

TEST_F(PictureConverterTest, StretchesToTheWantedSize) {
    const AvFrame picture = uniform(72, 57, {100, 90, 180});
    const AVFrame& stretched = converter.convert(*picture, 77, 57);
    EXPECT_EQ(stretched.width, 77);
    EXPECT_EQ(stretched.height, 57);
    EXPECT_TRUE(isUniform(stretched, {100, 90, 180}));
}

TEST_F(PictureConverterTest, FollowsPicturesThatChange) {
    EXPECT_TRUE(isUniform(convert(*uniform(64, 48, {255}, AV_PIX_FMT_YUVJ420P)), {235}));
    EXPECT_TRUE(isUniform(convert(*uniform(32, 48, {255}, AV_PIX_FMT_YUVJ420P)), {235}));
    EXPECT_TRUE(isUniform(convert(*uniform(32, 48, {200}, AV_PIX_FMT_YUV422P)), {200}));
    EXPECT_TRUE(isUniform(converter.convert(*uniform(32, 48, {99}), 64, 64), {99}));
}

TEST_F(PictureConverterTest, RefusesWhatItDoesNotKnow) {
    const AvFrame picture = uniform(64, 48, {});
    picture->format = AV_PIX_FMT_VAAPI;
    EXPECT_THROW(convert(*picture), std::runtime_error);
    EXPECT_TRUE(isUniform(convert(*uniform(64, 48, {255}, AV_PIX_FMT_YUVJ420P)), {235}));
}
