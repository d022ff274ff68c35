#include "overlay/cairo_handler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "device/stream_settings.h"
#include "geometry/polygon.h"
#include "overlay/cairo.h"
#include "overlay/cairo_bounding_box_container.h"
#include "overlay/external_overlay_union.h"
#include "support/resident_cairo.h"
#include "support/syslog_capture.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using Pixels = std::vector<unsigned char>;

/// Columns and rows from the first to the last, both within.
struct Area {
    int left;
    int top;
    int right;
    int bottom;

    bool has(int x, int y) const { return x >= left && x <= right && y >= top && y <= bottom; }
};

/// A surface of index 5 with one frame of index 4, worked out by hand.
Pixels frame(int width, int height, const Area& outside, const Area& hole) {
    Pixels pixels;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            pixels.push_back(outside.has(x, y) && !hole.has(x, y) ? 0x44 : 0x55);
        }
    }
    return pixels;
}

class CairoHandlerTest : public testing::Test {
protected:
    CairoHandlerTest() { EXPECT_TRUE(Cairo::initialize()); }
    ~CairoHandlerTest() override { Cairo::deinitialize(); }

    static Pixels read(CairoHandler& handler) {
        handler.flush();
        const unsigned char* data = handler.getData();
        return {data, data + handler.getWidth() * handler.getHeight()};
    }

    /// The rows as text: "#" for index 4, "." for index 5.
    static std::vector<std::string> show(CairoHandler& handler) {
        const Pixels pixels = read(handler);
        std::vector<std::string> rows(static_cast<std::size_t>(handler.getHeight()));
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            rows[i / static_cast<std::size_t>(handler.getWidth())] += pixels[i] == 0x44   ? '#'
                                                                      : pixels[i] == 0x55 ? '.'
                                                                                          : '?';
        }
        return rows;
    }

    static CairoBoundingBox boxAt(const StreamSettings& settings) {
        CairoBoundingBoxContainer boxes;
        boxes.insert(1, 2048, 1024, 2048, 1024, settings, {});
        return boxes.begin()->second;
    }

    /// Draws the box of a quarter of the width and an eighth of the height, erases it again.
    static void expectBox(int rotation, const Pixels& expected) {
        const StreamSettings settings(64, 48, rotation, false);
        CairoHandler handler(settings, {});
        handler.drawObject(boxAt(settings));
        EXPECT_EQ(read(handler), expected) << rotation;
        handler.eraseObject(boxAt(settings));
        EXPECT_THAT(read(handler), Each(0x55)) << rotation;
    }

    static void expectPolygon(int rotation, const Pixels& expected) {
        const StreamSettings settings(64, 48, rotation, false);
        CairoHandler handler(settings, {});
        const Polygon polygon(0, 2048, -2048, 2048);
        handler.drawPolygon(polygon, settings, {});
        EXPECT_EQ(read(handler), expected) << rotation;
        handler.erasePolygon(polygon, settings, {});
        EXPECT_THAT(read(handler), Each(0x55)) << rotation;
    }

    SyslogCapture log;
};

TEST_F(CairoHandlerTest, HasHalfTheWidthInWholeMacroBlocks) {
    const CairoHandler handler({1920, 1080, 0, false}, {});
    EXPECT_EQ(handler.getWidth(), 960);
    EXPECT_EQ(handler.getHeight(), 1072);
    EXPECT_NE(handler.getData(), nullptr);
}

TEST_F(CairoHandlerTest, LeavesTheMarginsOut) {
    EXPECT_EQ(CairoHandler({1920, 1080, 0, false}, {.top = 32, .bottom = 48}).getHeight(), 992);
}

TEST_F(CairoHandlerTest, HasTheHeightAsGivenAtEachRotation) {
    const auto sizeAt = [](int rotation) {
        const CairoHandler handler({1920, 1080, rotation, false}, {});
        return std::vector<int>{handler.getWidth(), handler.getHeight()};
    };
    EXPECT_THAT(sizeAt(90), ElementsAre(536, 1072));
    EXPECT_THAT(sizeAt(180), ElementsAre(960, 1072));
    EXPECT_THAT(sizeAt(270), ElementsAre(536, 1072));
}

TEST_F(CairoHandlerTest, IsBlankAtFirstAndWheneverItIsCleared) {
    const StreamSettings settings(64, 48, 0, false);
    CairoHandler handler(settings, {});
    EXPECT_THAT(read(handler), Each(0x55));
    handler.drawObject(boxAt(settings));
    handler.clearSurface();
    EXPECT_THAT(read(handler), Each(0x55));
    handler.clearSurface();
    EXPECT_THAT(read(handler), Each(0x55));
}

// 64 x 48: the centre is at (48, 18) and the box 16 x 6, so its corner is at (40, 15).
TEST_F(CairoHandlerTest, DrawsAndErasesABoxUpright) {
    expectBox(0, frame(32, 48, {19, 14, 28, 21}, {21, 16, 26, 19}));
}

// The centre is at (30, 48) and the box 6 x 16: corner (27, 40). The lowest rows are clipped.
TEST_F(CairoHandlerTest, DrawsAndErasesABoxAt90) {
    expectBox(90, frame(24, 48, {12, 39, 16, 47}, {14, 41, 14, 47}));
}

// The centre is at (16, 30): corner (8, 27).
TEST_F(CairoHandlerTest, DrawsAndErasesABoxAt180) {
    expectBox(180, frame(32, 48, {3, 26, 12, 33}, {5, 28, 10, 31}));
}

// The centre is at (18, 16): corner (15, 8), of which half is 7.
TEST_F(CairoHandlerTest, DrawsAndErasesABoxAt270) {
    expectBox(270, frame(24, 48, {6, 7, 10, 24}, {8, 9, 8, 22}));
}

// x from 32 to 48, y from 12 to 36.
TEST_F(CairoHandlerTest, DrawsAndErasesAPolygonUpright) {
    expectPolygon(0, frame(32, 48, {15, 11, 24, 36}, {17, 13, 22, 34}));
}

// x from 12 to 36, y from 32 to 48: the line at the lower end is half in the surface.
TEST_F(CairoHandlerTest, DrawsAndErasesAPolygonAt90) {
    expectPolygon(90, frame(24, 48, {5, 31, 18, 47}, {7, 33, 16, 46}));
}

// x from 16 to 32, y from 12 to 36.
TEST_F(CairoHandlerTest, DrawsAndErasesAPolygonAt180) {
    expectPolygon(180, frame(32, 48, {7, 11, 16, 36}, {9, 13, 14, 34}));
}

// x from 12 to 36, y from 16 to 32.
TEST_F(CairoHandlerTest, DrawsAndErasesAPolygonAt270) {
    expectPolygon(270, frame(24, 48, {5, 15, 18, 32}, {7, 17, 16, 30}));
}

TEST_F(CairoHandlerTest, DrawsBelowTheUpperMargin) {
    const StreamSettings settings(64, 48, 0, false);
    const ExternalOverlayUnion margins{.top = 16, .bottom = 0};
    CairoHandler handler(settings, margins);
    CairoBoundingBoxContainer boxes;
    boxes.insert(1, 2048, 1024, 2048, 1024, settings, margins);
    handler.drawObject(boxes.begin()->second);
    // The corner is at (40, -1): the upper line is cut off.
    EXPECT_EQ(read(handler), frame(32, 32, {19, -2, 28, 5}, {21, 0, 26, 3}));
    handler.eraseObject(boxes.begin()->second);
    handler.drawPolygon(Polygon(0, 2048, -2048, 2048), settings, margins);
    EXPECT_EQ(read(handler), frame(32, 32, {15, -5, 24, 20}, {17, -3, 22, 18}));
}

TEST_F(CairoHandlerTest, DrawsAsSeenHere) {
    CairoHandler handler({32, 16, 0, false}, {});
    handler.drawObject({.x = 6, .y = 4, .width = 16, .height = 8});
    EXPECT_THAT(
        show(handler),
        ElementsAre("................", "................", "................", "..##########....",
                    "..##########....", "..##......##....", "..##......##....", "..##......##....",
                    "..##......##....", "..##......##....", "..##......##....", "..##########....",
                    "..##########....", "................", "................",
                    "................"));
}

TEST_F(CairoHandlerTest, ErasesOnePixelMoreThanItDrew) {
    CairoHandler handler({32, 16, 0, false}, {});
    handler.drawObject({.x = 0, .y = 0, .width = 32, .height = 16}, 4.0 / 15.0, 32);
    handler.eraseObject({.x = 6, .y = 4, .width = 16, .height = 8});
    EXPECT_THAT(
        show(handler),
        ElementsAre("################", "################", "#............###", "#............###",
                    "#............###", "#............###", "#....####....###", "#....####....###",
                    "#....####....###", "#....####....###", "#............###", "#............###",
                    "#............###", "#............###", "################",
                    "################"));
}

TEST_F(CairoHandlerTest, ErasesOnePixelMoreOfAPolygonThanItDrew) {
    const StreamSettings settings(32, 16, 0, false);
    CairoHandler handler(settings, {});
    handler.drawObject({.x = 0, .y = 0, .width = 32, .height = 16}, 4.0 / 15.0, 32);
    // x from 6 to 22, y from 4 to 12: the box above.
    handler.erasePolygon(Polygon(-2560, 1536, -2048, 2048), settings, {});
    EXPECT_THAT(
        show(handler),
        ElementsAre("################", "################", "#............###", "#............###",
                    "#............###", "#............###", "#....####....###", "#....####....###",
                    "#....####....###", "#....####....###", "#............###", "#............###",
                    "#............###", "#............###", "################",
                    "################"));
}

TEST_F(CairoHandlerTest, HalvesOddEdgesTowardsZero) {
    CairoHandler even({32, 16, 0, false}, {});
    even.drawObject({.x = 6, .y = 4, .width = 8, .height = 8});
    CairoHandler odd({32, 16, 0, false}, {});
    odd.drawObject({.x = 7, .y = 4, .width = 9, .height = 8});
    EXPECT_EQ(read(odd), read(even));
}

// From x -3 of the picture, -1 of the surface, to 7 of it: all of the left line is outside.
TEST_F(CairoHandlerTest, HalvesNegativeEdgesTowardsZeroToo) {
    const std::vector<std::string> expected = {
        "................", "................", "................", "########........",
        "########........", "......##........", "......##........", "......##........",
        "......##........", "......##........", "......##........", "########........",
        "########........", "................", "................", "................"};
    const StreamSettings settings(32, 16, 0, false);
    CairoHandler box(settings, {});
    box.drawObject({.x = -3, .y = 4, .width = 16, .height = 8});
    EXPECT_EQ(show(box), expected);
    CairoHandler polygon(settings, {});
    polygon.drawPolygon(Polygon(-4096 - 3 * 256, -4096 + 14 * 256, -2048, 2048), settings, {});
    EXPECT_EQ(show(polygon), expected);
}

TEST_F(CairoHandlerTest, DoesNotWrapABoxAtTheFarLeft) {
    const StreamSettings settings(64, 48, 0, false);
    CairoBoundingBoxContainer boxes;
    boxes.insert(1, -3072, 0, 2048, 2048, settings, {});
    const CairoBoundingBox box = boxes.begin()->second;
    EXPECT_EQ(box.x, 0);
    CairoHandler handler(settings, {});
    handler.drawObject(box);
    // (0, 18), 16 x 12: the outer half of the left line is outside.
    EXPECT_EQ(read(handler), frame(32, 48, {0, 17, 8, 30}, {1, 19, 6, 28}));
}

TEST_F(CairoHandlerTest, DrawsInTheToldValueAndWidth) {
    CairoHandler handler({32, 16, 0, false}, {});
    handler.drawObject({.x = 0, .y = 0, .width = 32, .height = 16}, 1.0 / 15.0, 64);
    EXPECT_THAT(read(handler), Each(0x11));
    handler.drawPolygon(Polygon(-4096, 4096, -4096, 4096), 2.0 / 15.0, 64, {32, 16, 0, false}, {});
    EXPECT_THAT(read(handler), Each(0x22));
}

TEST_F(CairoHandlerTest, DrawsOneShapeInFrontOfAnotherWithoutBlending) {
    CairoHandler handler({32, 16, 0, false}, {});
    handler.drawObject({.x = 6, .y = 4, .width = 16, .height = 8});
    const Pixels once = read(handler);
    handler.drawObject({.x = 6, .y = 4, .width = 16, .height = 8});
    EXPECT_EQ(read(handler), once);
}

/// Draws many shapes of one kind at each rotation, some at a time, and erases them again.
class DrawnAndErased : public CairoHandlerTest {
protected:
    static constexpr int kFrames = 400;

    int any(int from, int to) { return std::uniform_int_distribution<int>(from, to)(random); }

    /// Coordinates in turn all over the picture, around its edges and far beyond, and anywhere.
    short anyCoordinate() {
        switch (any(0, 3)) {
            case 0:
                return static_cast<short>(any(-4096, 4096));
            case 1:
                return static_cast<short>(any(-160, 160) + 4096 * any(-1, 1));
            case 2:
                return static_cast<short>(any(-8192, 8192));
            default:
                return static_cast<short>(any(-32768, 32767));
        }
    }

    using Steps = std::vector<std::function<void(CairoHandler&)>>;

    /// `makeShape(settings, draw, erase)` adds the drawing and the erasing of one shape.
    template <typename MakeShape>
    void leaveNoTrace(MakeShape makeShape) {
        for (const int rotation : {0, 90, 180, 270}) {
            const StreamSettings settings(320, 192, rotation, false);
            CairoHandler handler(settings, margins);
            const Pixels blank = read(handler);
            ASSERT_EQ(std::ranges::count(blank, 0x55), std::ssize(blank));
            int visible = 0;
            for (int frame = 0; frame < kFrames; ++frame) {
                Steps draw;
                Steps erase;
                for (int shape = frame % 3; shape >= 0; --shape) {
                    makeShape(settings, draw, erase);
                }
                std::ranges::for_each(draw, [&](const auto& step) { step(handler); });
                visible += read(handler) == blank ? 0 : 1;
                std::ranges::for_each(erase, [&](const auto& step) { step(handler); });
                ASSERT_EQ(read(handler), blank) << rotation << " " << frame;
            }
            EXPECT_GE(visible, kFrames / 4) << rotation;
        }
    }

    const ExternalOverlayUnion margins{.top = 16, .bottom = 32};
    std::minstd_rand random{5};
};

TEST_F(DrawnAndErased, LeavesNoTraceOfBoxes) {
    leaveNoTrace([this](const StreamSettings& settings, Steps& draw, Steps& erase) {
        CairoBoundingBoxContainer boxes;
        boxes.insert(1, anyCoordinate(), anyCoordinate(), any(0, 1) * any(0, 4096),
                     any(0, 1) * any(0, 4096), settings, margins);
        const CairoBoundingBox box = boxes.begin()->second;
        draw.emplace_back([box](CairoHandler& handler) { handler.drawObject(box); });
        erase.emplace_back([box](CairoHandler& handler) { handler.eraseObject(box); });
    });
}

TEST_F(DrawnAndErased, LeavesNoTraceOfBoxesOfAnyPixels) {
    leaveNoTrace([this](const StreamSettings&, Steps& draw, Steps& erase) {
        const CairoBoundingBox box{.x = any(-40, 340),
                                   .y = any(-40, 200),
                                   .width = any(-2, 9) * any(-2, 9),
                                   .height = any(-2, 9) * any(-2, 9)};
        draw.emplace_back([box](CairoHandler& handler) { handler.drawObject(box); });
        erase.emplace_back([box](CairoHandler& handler) { handler.eraseObject(box); });
    });
}

TEST_F(DrawnAndErased, LeavesNoTraceOfPolygons) {
    leaveNoTrace([this](const StreamSettings& settings, Steps& draw, Steps& erase) {
        std::vector<short> xy(2 * static_cast<std::size_t>(any(3, 9)));
        std::ranges::generate(xy, [this] { return anyCoordinate(); });
        const Polygon polygon(xy.data(), static_cast<int>(xy.size() / 2));
        draw.emplace_back([this, settings, polygon](CairoHandler& handler) {
            handler.drawPolygon(polygon, settings, margins);
        });
        erase.emplace_back([this, settings, polygon](CairoHandler& handler) {
            handler.erasePolygon(polygon, settings, margins);
        });
    });
}

// Needles, strokes that come back on themselves, and what falls together in one pixel.
TEST_F(DrawnAndErased, LeavesNoTraceOfThinAndTinyPolygons) {
    leaveNoTrace([this](const StreamSettings& settings, Steps& draw, Steps& erase) {
        const int x = any(-2048, 2048);
        const int y = any(-2048, 2048);
        const int length = any(0, 1) * any(-2048, 2048);
        const int slope = any(0, 1) * any(-2048, 2048);
        std::vector<short> xy;
        for (int i = any(3, 7); i > 0; --i) {
            const int part = any(0, 8);
            xy.push_back(static_cast<short>(x + length * part / 8 + any(-60, 60)));
            xy.push_back(static_cast<short>(y + slope * part / 8 + any(-60, 60)));
        }
        const Polygon polygon(xy.data(), static_cast<int>(xy.size() / 2));
        draw.emplace_back([this, settings, polygon](CairoHandler& handler) {
            handler.drawPolygon(polygon, settings, margins);
        });
        erase.emplace_back([this, settings, polygon](CairoHandler& handler) {
            handler.erasePolygon(polygon, settings, margins);
        });
    });
}

TEST_F(CairoHandlerTest, LogsARotationThatItDoesNotKnow) {
    const StreamSettings settings(64, 48, 45, false);
    CairoHandler handler(settings, {});
    EXPECT_EQ(handler.getWidth(), 24);
    handler.drawPolygon(Polygon(0, 2048, -2048, 2048), settings, {});
    const SyslogCapture::Line line{LOG_WARNING, "Unhandled rotation, value: 45\n"};
    EXPECT_THAT(log.lines(), ElementsAre(line, line, line, line));
}

TEST_F(CairoHandlerTest, DoesNothingOnAnImageTooLargeForTheLibrary) {
    const StreamSettings settings(70000, 48, 0, false);
    CairoHandler handler(settings, {});
    handler.drawObject({.x = 1, .y = 1, .width = 8, .height = 8});
    handler.erasePolygon(Polygon(0, 2048, -2048, 2048), settings, {});
    handler.clearSurface();
    handler.flush();
    EXPECT_EQ(handler.getData(), nullptr);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CairoHandlerTest, HasNoImageWithoutRoom) {
    const StreamSettings settings(64, 48, 0, false);
    for (const ExternalOverlayUnion& margins :
         {ExternalOverlayUnion{.top = 48, .bottom = 0},
          ExternalOverlayUnion{.top = 32, .bottom = 32},
          ExternalOverlayUnion{.top = 2147483632, .bottom = 2147483632}}) {
        CairoHandler handler(settings, margins);
        EXPECT_EQ(handler.getData(), nullptr);
        EXPECT_EQ(handler.getHeight(), 0);
    }
    for (const StreamSettings& none :
         {StreamSettings(), StreamSettings(0, 48, 0, false), StreamSettings(64, 0, 0, false),
          StreamSettings(-1, -1, 0, false), StreamSettings(8, 8, 0, false)}) {
        CairoHandler handler(none, {});
        handler.drawObject({.x = 1, .y = 1, .width = 8, .height = 8});
        handler.eraseObject({.x = 1, .y = 1, .width = 8, .height = 8});
        handler.drawPolygon(Polygon(0, 2048, -2048, 2048), none, {});
        handler.erasePolygon(Polygon(0, 2048, -2048, 2048), none, {});
        handler.clearSurface();
        handler.flush();
        EXPECT_EQ(handler.getData(), nullptr);
        EXPECT_EQ(handler.getWidth(), 0);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

}  // namespace
