#include "video/composer.h"

#include <gmock/gmock.h>

#include <random>

#include "host/video/test_pictures.h"
#include "video/overlay_patch.h"
#include "video/picture_turner.h"
#include "video/stream.h"

using TestPictures::at;
using TestPictures::bandOf;
using TestPictures::bytesOf;
using TestPictures::plain;
using TestPictures::setIndex;
using TestPictures::varied;

namespace {

constexpr PaletteColor red = {255, 0, 0, 155};
constexpr int redIndex = 4;
constexpr int clearIndex = 5;
/// Red is 81, 90, 240 in BT.601's limited range.
constexpr int redLuma = 81;

int mixed(int picture, int color, int alpha) {
    return (picture * (255 - alpha) + color * alpha + 127) / 255;
}

Palette paletteWithRed() {
    Palette palette;
    palette[redIndex] = red;
    return palette;
}

struct Rectangle {
    int left;
    int top;
    int width;
    int height;

    bool holds(int x, int y) const {
        return x >= left && x < left + width && y >= top && y < top + height;
    }
};

/// A picture with a red rectangle laid over it.
AvFrame withRed(const AVFrame& picture, const Rectangle& place) {
    AvFrame result(av_frame_clone(&picture));
    av_frame_make_writable(result.get());
    Composer composer;
    composer.setPalette(paletteWithRed());
    composer.blend(bandOf(place.left, place.top, place.width, place.height, redIndex), *result);
    return result;
}

void expectRedLuma(const AVFrame& before, const AVFrame& after, const Rectangle& place) {
    for (int y = 0; y < before.height; ++y) {
        for (int x = 0; x < before.width; ++x) {
            const int expected = place.holds(x, y) ? mixed(at(before, 0, x, y), redLuma, red.alpha)
                                                   : at(before, 0, x, y);
            ASSERT_EQ(at(after, 0, x, y), expected) << x << "," << y;
        }
    }
}

/// A block's colour difference with the given number of its pixels red.
int blockOf(int picture, int color, int pixels) {
    const int alphas = pixels * red.alpha;
    return (picture * (4 * 255 - alphas) + color * alphas + 2 * 255) / (4 * 255);
}

void expectRedColors(const AVFrame& before, const AVFrame& after, const Rectangle& place) {
    for (int y = 0; y < (before.height + 1) / 2; ++y) {
        for (int x = 0; x < (before.width + 1) / 2; ++x) {
            int covered = 0;
            for (const int px : {2 * x, 2 * x + 1}) {
                for (const int py : {2 * y, 2 * y + 1}) {
                    const bool isInPicture = px < before.width && py < before.height;
                    covered += isInPicture && place.holds(px, py) ? 1 : 0;
                }
            }
            ASSERT_EQ(at(after, 1, x, y), blockOf(at(before, 1, x, y), 90, covered))
                << x << "," << y;
            ASSERT_EQ(at(after, 2, x, y), blockOf(at(before, 2, x, y), 240, covered))
                << x << "," << y;
        }
    }
}

void expectRed(const AVFrame& before, const Rectangle& place) {
    const AvFrame after = withRed(before, place);
    expectRedLuma(before, *after, place);
    expectRedColors(before, *after, place);
}

BlendColor colorOf(const PaletteColor& color) {
    return BlendColor::of(color.red, color.green, color.blue, color.alpha);
}

/// The band as a patch: the same pixels in another form.
OverlayPatch patchOf(const PaletteBand& band, const Palette& palette) {
    OverlayPatch patch = {band.left, band.top, band.image->width, band.image->height, {}};
    for (const std::uint8_t pair : band.image->pixels) {
        patch.pixels.push_back(colorOf(palette[pair >> 4]));
        patch.pixels.push_back(colorOf(palette[pair & 0xF]));
    }
    return patch;
}

}  // namespace

TEST(Composer, ConvertsColorsToLimitedRange) {
    EXPECT_EQ(BlendColor::of(255, 0, 0, 155), (BlendColor{81, 90, 240, 155}));
    EXPECT_EQ(BlendColor::of(0, 0, 0, 0), (BlendColor{16, 128, 128, 0}));
    EXPECT_EQ(BlendColor::of(255, 255, 255, 255), (BlendColor{235, 128, 128, 255}));
    EXPECT_EQ(BlendColor::of(0, 255, 0, 1), (BlendColor{145, 54, 34, 1}));
    EXPECT_EQ(BlendColor::of(0, 0, 255, 2), (BlendColor{41, 240, 110, 2}));
}

TEST(Composer, LaysTranslucentRedOverGrey) {
    const AvFrame after = withRed(*plain(64, 48), {16, 8, 32, 20});
    EXPECT_EQ(at(*after, 0, 16, 8), 99);  // (128 * 100 + 81 * 155) / 255
    EXPECT_EQ(at(*after, 0, 47, 27), 99);
    EXPECT_EQ(at(*after, 0, 48, 27), 128);
    EXPECT_EQ(at(*after, 0, 15, 8), 128);
    EXPECT_EQ(at(*after, 0, 16, 7), 128);
    EXPECT_EQ(at(*after, 0, 16, 28), 128);
    EXPECT_EQ(at(*after, 1, 8, 4), 105);  // (128 * 100 + 90 * 155) / 255
    EXPECT_EQ(at(*after, 2, 8, 4), 196);  // (128 * 100 + 240 * 155) / 255
    EXPECT_EQ(at(*after, 1, 7, 4), 128);
    EXPECT_EQ(at(*after, 2, 24, 4), 128);
}

TEST(Composer, IsExactInEachPixel) {
    expectRed(*varied(96, 64), {16, 8, 32, 20});
}

TEST(Composer, IsExactAtOddPositions) {
    for (const int left : {0, 1, 7, 13}) {
        for (const int top : {0, 1, 5, 10}) {
            for (const int width : {2, 6, 34}) {
                for (const int height : {1, 2, 7}) {
                    expectRed(*varied(64, 32), {left, top, width, height});
                }
            }
        }
    }
}

TEST(Composer, ClipsAtEachEdgeOfThePicture) {
    for (const int left : {-40, -39, -5, -1, 50, 61, 63, 64, 70}) {
        for (const int top : {-20, -11, -1, 20, 31, 32, 40}) {
            expectRed(*varied(64, 32), {left, top, 40, 12});
        }
    }
    expectRed(*varied(64, 32), {-10, -10, 100, 60});
}

TEST(Composer, CopesWithPicturesOfOddSize) {
    for (const int left : {-3, 0, 21}) {
        expectRed(*varied(33, 17), {left, -1, 16, 40});
    }
    expectRed(*varied(1, 1), {0, 0, 2, 1});
}

TEST(Composer, DrawsWhereItIsSeenAtEachRotation) {
    for (const int rotation : {0, 90, 180, 270}) {
        const Stream stream = {1, 1, 64, 48, rotation};
        PictureTurner turner(stream.width, stream.height, rotation);
        const AVFrame& seen = turner.turn(*varied(64, 48));
        ASSERT_EQ(seen.width, stream.shownWidth());
        ASSERT_EQ(seen.height, stream.shownHeight());
        expectRed(seen, {9, 5, 22, 31});
    }
}

TEST(Composer, LeavesPicturesAloneWithoutAPalette) {
    const AvFrame picture = varied(64, 48);
    const auto before = bytesOf(*picture);
    Composer().blend(bandOf(0, 0, 64, 48, redIndex), *picture);
    EXPECT_EQ(bytesOf(*picture), before);
}

TEST(Composer, LeavesPicturesAloneWhereAlphaIsZero) {
    const AvFrame picture = varied(64, 48);
    const auto before = bytesOf(*picture);
    Composer composer;
    composer.setPalette(paletteWithRed());
    composer.blend(bandOf(1, 1, 64, 48, clearIndex), *picture);
    EXPECT_EQ(bytesOf(*picture), before);
}

TEST(Composer, HidesThePictureWithAlpha255) {
    Palette palette;
    palette[1] = {0, 255, 0, 255};
    const AvFrame picture = varied(64, 48);
    Composer composer;
    composer.setPalette(palette);
    composer.blend(bandOf(0, 0, 64, 48, 1), *picture);
    EXPECT_EQ(bytesOf(*picture), bytesOf(*plain(64, 48, 145, 54, 34)));
}

TEST(Composer, TakesTheLeftPixelFromTheUpperHalfOfAByte) {
    PaletteBand band = bandOf(0, 0, 32, 2, clearIndex);
    setIndex(band, 12, 0, redIndex);
    const AvFrame picture = plain(32, 2);
    Composer composer;
    composer.setPalette(paletteWithRed());
    composer.blend(band, *picture);
    for (int x = 0; x < 32; ++x) {
        EXPECT_EQ(at(*picture, 0, x, 0), x == 12 ? 99 : 128) << x;
        EXPECT_EQ(at(*picture, 0, x, 1), 128) << x;
    }
    EXPECT_EQ(at(*picture, 2, 6, 0), blockOf(128, 240, 1));
    EXPECT_EQ(at(*picture, 2, 5, 0), 128);
    EXPECT_EQ(at(*picture, 2, 7, 0), 128);
}

TEST(Composer, FindsEachSinglePixelOfAWideImage) {
    const AvFrame before = varied(80, 2);
    for (int x = 0; x < 80; ++x) {
        PaletteBand band = bandOf(0, 1, 80, 1, clearIndex);
        setIndex(band, x, 0, redIndex);
        AvFrame picture(av_frame_clone(before.get()));
        av_frame_make_writable(picture.get());
        Composer composer;
        composer.setPalette(paletteWithRed());
        composer.blend(band, *picture);
        expectRedLuma(*before, *picture, {x, 1, 1, 1});
        expectRedColors(*before, *picture, {x, 1, 1, 1});
    }
}

TEST(Composer, FindsAnAreaThatBeginsAfterAClearOne) {
    const AvFrame before = varied(128, 2);
    for (int begin = 2; begin < 64; begin += 2) {
        PaletteBand band = bandOf(0, 1, 128, 1, clearIndex);
        for (int x = begin; x < begin + 48; ++x) {
            setIndex(band, x, 0, redIndex);
        }
        AvFrame picture(av_frame_clone(before.get()));
        av_frame_make_writable(picture.get());
        Composer composer;
        composer.setPalette(paletteWithRed());
        composer.blend(band, *picture);
        expectRedLuma(*before, *picture, {begin, 1, 48, 1});
        expectRedColors(*before, *picture, {begin, 1, 48, 1});
    }
}

TEST(Composer, BlendsImagesOfManyColorsAsItBlendsTheirPixels) {
    std::mt19937 random(7);
    const auto draw = [&](int most) { return static_cast<int>(random() % (most + 1U)); };
    for (int round = 0; round < 300; ++round) {
        Palette palette;
        for (PaletteColor& color : palette) {
            const int alpha = draw(2) == 0 ? draw(255) : 0;
            color = {static_cast<std::uint8_t>(draw(255)), static_cast<std::uint8_t>(draw(255)),
                     static_cast<std::uint8_t>(draw(255)), static_cast<std::uint8_t>(alpha)};
        }
        PaletteBand band =
            bandOf(draw(80) - 40, draw(40) - 20, 2 + 2 * draw(30), 1 + draw(20), draw(15));
        for (int pixels = draw(60); pixels > 0; --pixels) {
            setIndex(band, draw(band.image->width - 1), draw(band.image->height - 1), draw(15));
        }
        const AvFrame byBand = varied(40 + draw(9), 20 + draw(9));
        const AvFrame byPatch(av_frame_clone(byBand.get()));
        av_frame_make_writable(byPatch.get());
        Composer composer;
        composer.setPalette(palette);
        composer.blend(band, *byBand);
        composer.blend(patchOf(band, palette), *byPatch);
        ASSERT_EQ(bytesOf(*byBand), bytesOf(*byPatch)) << "round " << round;
    }
}

TEST(Composer, LeavesOutImagesThatAreNotWhole) {
    const AvFrame picture = varied(64, 48);
    const auto before = bytesOf(*picture);
    Composer composer;
    composer.setPalette(paletteWithRed());
    composer.blend(PaletteBand{0, 0, nullptr}, *picture);
    for (const PaletteImage& image :
         {PaletteImage{16, 16, std::vector<std::uint8_t>(127, 0x44)}, PaletteImage{0, 16, {}},
          PaletteImage{-2, 16, {}}, PaletteImage{16, -1, {}}}) {
        composer.blend(PaletteBand{0, 0, std::make_shared<PaletteImage>(image)}, *picture);
    }
    EXPECT_EQ(bytesOf(*picture), before);
}

TEST(Composer, LeavesOutWhatIsFarAway) {
    const AvFrame picture = varied(64, 48);
    const auto before = bytesOf(*picture);
    Composer composer;
    composer.setPalette(paletteWithRed());
    for (const int far : {-2147483647 - 1, -100000, 100000, 2147483647}) {
        composer.blend(bandOf(far, 0, 16, 16, redIndex), *picture);
        composer.blend(bandOf(0, far, 16, 16, redIndex), *picture);
    }
    EXPECT_EQ(bytesOf(*picture), before);
}
