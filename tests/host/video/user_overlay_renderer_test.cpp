#include "video/user_overlay_renderer.h"

#include <cairo.h>
#include <gmock/gmock.h>

#include <algorithm>

#include "video/stream.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr Stream stream = {1, 1, 640, 480, 0};
constexpr Stream turned = {2, 1, 640, 480, 90};

constexpr BlendColor red = {81, 90, 240, 255};
constexpr BlendColor green = {145, 54, 34, 255};

UserOverlay text(const std::string& content, const std::string& position = "topleft") {
    UserOverlay overlay;
    overlay.id = 7;
    overlay.text = content;
    overlay.position = position;
    overlay.height = 90;  // 40 lines of 480
    return overlay;
}

/// A PNG file: the left half red, the right half green, of one alpha.
std::shared_ptr<const std::string> makePng(int width, int height, double alpha = 1) {
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    cairo_t* context = cairo_create(surface);
    cairo_set_source_rgba(context, 1, 0, 0, alpha);
    cairo_rectangle(context, 0, 0, width / 2.0, height);
    cairo_fill(context);
    cairo_set_source_rgba(context, 0, 1, 0, alpha);
    cairo_rectangle(context, width / 2.0, 0, width / 2.0, height);
    cairo_fill(context);
    auto file = std::make_shared<std::string>();
    cairo_surface_write_to_png_stream(
        surface,
        [](void* target, const unsigned char* data, unsigned size) {
            static_cast<std::string*>(target)->append(reinterpret_cast<const char*>(data), size);
            return CAIRO_STATUS_SUCCESS;
        },
        file.get());
    cairo_destroy(context);
    cairo_surface_destroy(surface);
    return file;
}

UserOverlay image(std::shared_ptr<const std::string> file, const std::string& position, int width,
                  int height, bool isScalable = false) {
    UserOverlay overlay;
    overlay.id = 8;
    overlay.kind = UserOverlay::Kind::Image;
    overlay.imageFile = std::move(file);
    overlay.position = position;
    overlay.width = width;
    overlay.height = height;
    overlay.isScalable = isScalable;
    return overlay;
}

class UserOverlayRendererTest : public testing::Test {
protected:
    /// The only patch of an overlay; an empty one if nothing is shown.
    OverlayPatch render(const UserOverlay& overlay, const Stream& target = stream) {
        const auto patches = renderer.render(target, {overlay});
        EXPECT_LE(patches.size(), 1u);
        return patches.empty() ? OverlayPatch() : *patches[0];
    }

    std::string refusalOf(const UserOverlay& overlay) {
        testing::internal::CaptureStderr();
        EXPECT_THAT(renderer.render(stream, {overlay}), IsEmpty());
        return testing::internal::GetCapturedStderr();
    }

    UserOverlayRenderer renderer;
};

const BlendColor& at(const OverlayPatch& patch, int x, int y) {
    return patch.pixels.at(static_cast<std::size_t>(y * patch.width + x));
}

int countOf(const OverlayPatch& patch, bool (*is)(const BlendColor&)) {
    return static_cast<int>(std::count_if(patch.pixels.begin(), patch.pixels.end(), is));
}

bool isWhite(const BlendColor& color) {
    return color.luma > 220 && color.alpha > 240;
}

bool isBackground(const BlendColor& color) {
    return color.luma == 16 && color.alpha >= 127 && color.alpha <= 128;
}

/// The first and the last row in which something is written.
std::pair<int, int> rowsOfInk(const OverlayPatch& patch) {
    std::pair<int, int> rows = {patch.height, -1};
    for (int y = 0; y < patch.height; ++y) {
        for (int x = 0; x < patch.width; ++x) {
            if (!isBackground(at(patch, x, y))) {
                rows = {std::min(rows.first, y), y};
            }
        }
    }
    return rows;
}

}  // namespace

TEST_F(UserOverlayRendererTest, WritesWhiteOnAHalfTransparentDarkBox) {
    const OverlayPatch patch = render(text("Gate 3"));
    EXPECT_EQ(patch.left, 0);
    EXPECT_EQ(patch.top, 0);
    EXPECT_EQ(patch.height, 40);
    EXPECT_GT(patch.width, 80);
    EXPECT_LT(patch.width, 200);
    EXPECT_TRUE(isBackground(at(patch, 0, 0)));
    EXPECT_TRUE(isBackground(at(patch, patch.width - 1, 39)));
    EXPECT_GT(countOf(patch, isWhite), 200);
    EXPECT_GT(countOf(patch, isBackground), 2000);
}

TEST_F(UserOverlayRendererTest, WritesAllOfALetterIntoTheBox) {
    for (const int height : {23, 90, 225}) {  // 10, 40 and 100 lines
        UserOverlay overlay = text("Ågjpqy");
        overlay.height = height;
        const OverlayPatch patch = render(overlay);
        const auto [first, last] = rowsOfInk(patch);
        EXPECT_EQ(patch.height, height * 480 / 1080);
        EXPECT_GE(first, 0);
        EXPECT_LT(first, patch.height / 3);
        EXPECT_GT(last, patch.height * 3 / 4);
        EXPECT_LT(last, patch.height);
    }
}

TEST_F(UserOverlayRendererTest, IsAsWideAsTheText) {
    const int one = render(text("MM")).width;
    const int two = render(text("MMMM")).width;
    EXPECT_NEAR(two - 20, 2 * (one - 20), 2);  // a quarter of the height is free at each side
}

TEST_F(UserOverlayRendererTest, KnowsLettersBeyondAscii) {
    const OverlayPatch greek = render(text("Ω"));
    const OverlayPatch cyrillic = render(text("Ж"));
    EXPECT_GT(countOf(greek, isWhite), 40);
    EXPECT_GT(countOf(cyrillic, isWhite), 40);
    EXPECT_NE(greek.pixels, cyrillic.pixels);
}

TEST_F(UserOverlayRendererTest, MakesALongTextSmallerUntilItFits) {
    const OverlayPatch patch = render(text(std::string(100, 'W')));
    EXPECT_LE(patch.width, 640);
    EXPECT_GT(patch.width, 600);
    EXPECT_EQ(patch.height, 40);
    for (int y = 0; y < patch.height; ++y) {
        EXPECT_TRUE(isBackground(at(patch, patch.width - 1, y)));
    }
}

TEST_F(UserOverlayRendererTest, WritesLineEndsAsBlanks) {
    EXPECT_EQ(render(text("a\nb\tc")).pixels, render(text("a b c")).pixels);
}

TEST_F(UserOverlayRendererTest, EndsAtTheLowerEdge) {
    const OverlayPatch patch = render(text("Gate 3", "bottomright"));
    EXPECT_EQ(patch.top + patch.height, 480);
    EXPECT_EQ(patch.left + patch.width, 640);
    const OverlayPatch side = render(text("Gate 3", "bottomright"), turned);
    EXPECT_EQ(side.height, 53);  // 90 of 1080 lines in 640
    EXPECT_EQ(side.top + side.height, 640);
    EXPECT_EQ(side.left + side.width, 480);
}

TEST_F(UserOverlayRendererTest, DrawsOnlyWhatLiesInThePicture) {
    const OverlayPatch patch = render(text("Gate 3", "0.9375,0.9375"));
    EXPECT_EQ(patch.left, 620);
    EXPECT_EQ(patch.top, 465);
    EXPECT_EQ(patch.width, 20);
    EXPECT_EQ(patch.height, 15);
    EXPECT_THAT(renderer.render(stream, {text("Gate 3", "1,1")}), IsEmpty());
}

TEST_F(UserOverlayRendererTest, ShowsAnImageAsItIs) {
    const OverlayPatch patch = render(image(makePng(20, 10), "topright", 20, 10));
    EXPECT_EQ(patch.left, 620);
    EXPECT_EQ(patch.top, 0);
    ASSERT_EQ(patch.width, 20);
    ASSERT_EQ(patch.height, 10);
    for (int y = 0; y < 10; ++y) {
        for (int x = 0; x < 20; ++x) {
            ASSERT_EQ(at(patch, x, y), x < 10 ? red : green) << x << "," << y;
        }
    }
}

TEST_F(UserOverlayRendererTest, KeepsTheColorsOfTranslucentImages) {
    const OverlayPatch patch = render(image(makePng(20, 10, 0.4), "top", 20, 10));
    EXPECT_EQ(at(patch, 2, 2), (BlendColor{81, 90, 240, 102}));
    EXPECT_EQ(at(patch, 17, 7), (BlendColor{145, 54, 34, 102}));
}

TEST_F(UserOverlayRendererTest, ScalesImages) {
    const OverlayPatch patch = render(image(makePng(20, 10), "bottomleft", 180, 90, true));
    EXPECT_EQ(patch.top, 440);
    ASSERT_EQ(patch.width, 80);  // 180 and 90 of 1080 lines in 480
    ASSERT_EQ(patch.height, 40);
    EXPECT_EQ(at(patch, 0, 0), red);
    EXPECT_EQ(at(patch, 30, 39), red);
    EXPECT_EQ(at(patch, 50, 0), green);
    EXPECT_EQ(at(patch, 79, 39), green);
}

TEST_F(UserOverlayRendererTest, CutsImagesAtThePicturesEdge) {
    const OverlayPatch patch = render(image(makePng(20, 10), "0,0", 2000, 1000));
    EXPECT_EQ(patch.left, 320);
    EXPECT_EQ(patch.top, 240);
    EXPECT_EQ(patch.width, 320);
    EXPECT_EQ(patch.height, 240);
    EXPECT_EQ(at(patch, 319, 239), red);  // its right half lies out of the picture
    const OverlayPatch centred = render(image(makePng(20, 10), "top", 2000, 100));
    EXPECT_EQ(centred.left, 0);
    EXPECT_EQ(centred.width, 640);
    EXPECT_EQ(at(centred, 200, 50), red);
    EXPECT_EQ(at(centred, 440, 50), green);
}

TEST_F(UserOverlayRendererTest, KeepsTheOrder) {
    UserOverlay first = text("1");
    UserOverlay second = image(makePng(20, 10), "top", 20, 10);
    const auto patches = renderer.render(stream, {second, first});
    ASSERT_THAT(patches, SizeIs(2));
    EXPECT_EQ(patches[0]->height, 10);
    EXPECT_EQ(patches[1]->height, 40);
}

TEST_F(UserOverlayRendererTest, DrawsAnOverlayOnceForEachStream) {
    const UserOverlay overlay = text("Gate 3");
    const auto first = renderer.render(stream, {overlay});
    const auto side = renderer.render(turned, {overlay});
    EXPECT_EQ(renderer.render(stream, {overlay}), first);
    EXPECT_EQ(renderer.render(turned, {overlay}), side);
    EXPECT_NE(side[0], first[0]);
}

TEST_F(UserOverlayRendererTest, DrawsAnOverlayAgainWhenItChanges) {
    const auto first = renderer.render(stream, {text("Gate 3")});
    const auto moved = renderer.render(stream, {text("Gate 3", "bottom")});
    EXPECT_EQ(first[0]->top, 0);
    EXPECT_EQ(moved[0]->top, 440);
    EXPECT_EQ(moved[0]->pixels, first[0]->pixels);
}

TEST_F(UserOverlayRendererTest, ForgetsAnOverlayThatHasGone) {
    const std::weak_ptr<const OverlayPatch> patch = renderer.render(stream, {text("Gate 3")})[0];
    EXPECT_FALSE(patch.expired());
    EXPECT_THAT(renderer.render(stream, {}), IsEmpty());
    EXPECT_TRUE(patch.expired());
}

TEST_F(UserOverlayRendererTest, ForgetsWhatItDrewForAStreamThatIsNotKept) {
    const UserOverlay overlay = text("Gate 3");
    const std::weak_ptr<const OverlayPatch> upright = renderer.render(stream, {overlay})[0];
    const std::weak_ptr<const OverlayPatch> side = renderer.render(turned, {overlay})[0];
    renderer.keepStreams([](int id) { return id == turned.id; });
    EXPECT_TRUE(upright.expired());
    EXPECT_FALSE(side.expired());
}

TEST_F(UserOverlayRendererTest, TellsOnceWhatCannotBeShown) {
    const UserOverlay broken = image(std::make_shared<std::string>("GIF89a"), "top", 20, 10);
    EXPECT_THAT(refusalOf(broken), HasSubstr("overlay 8 is not shown: the image is no PNG file\n"));
    EXPECT_EQ(refusalOf(broken), "");
    testing::internal::CaptureStderr();
    EXPECT_THAT(renderer.render(turned, {broken}), IsEmpty());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(UserOverlayRendererTest, ShowsTheOthersBesideOneThatIsBroken) {
    testing::internal::CaptureStderr();
    EXPECT_THAT(renderer.render(stream, {image(nullptr, "top", 20, 10), text("Gate 3")}),
                SizeIs(1));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("overlay 8 is not shown: there is no image\n"));
}

TEST_F(UserOverlayRendererTest, RefusesFilesThatAreNoWholePng) {
    const auto whole = makePng(20, 10);
    for (std::size_t size = 0; size < whole->size() - 12; size += 7) {  // the end may be missing
        UserOverlay cut =
            image(std::make_shared<std::string>(whole->substr(0, size)), "top", 20, 10);
        cut.id = 100 + static_cast<int>(size);
        EXPECT_THAT(refusalOf(cut), HasSubstr(" is not shown: ")) << size;
    }
}

TEST_F(UserOverlayRendererTest, RefusesImagesOfImmenseSizeUnread) {
    std::string file = *makePng(20, 10);
    file[16] = '\x7f';  // the highest byte of its width
    EXPECT_THAT(refusalOf(image(std::make_shared<std::string>(file), "top", 20, 10)),
                HasSubstr("the image is too large\n"));
}

TEST_F(UserOverlayRendererTest, RefusesTextThatIsNotUtf8) {
    EXPECT_THAT(refusalOf(text("\xff\xfe")),
                HasSubstr("overlay 7 is not shown: the text is not UTF-8\n"));
}

TEST_F(UserOverlayRendererTest, RefusesAnUnknownPosition) {
    EXPECT_THAT(refusalOf(text("Gate 3", "middle")),
                HasSubstr("overlay 7 is not shown: its position is not known: middle\n"));
}

TEST_F(UserOverlayRendererTest, ShowsNothingOfOverlaysWithoutSize) {
    UserOverlay small = text("Gate 3");
    for (const int height : {-1, 0, 1, 2147483647}) {
        small.height = height;
        EXPECT_EQ(refusalOf(small), "") << height;
    }
}
