#include "overlay/transform_cairo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "device/stream_settings.h"
#include "overlay/external_overlay_union.h"
#include "support/syslog_capture.h"

namespace {

using Transform::Cairo::PixelPair;
using Transform::Cairo::scaleSize;
using Transform::Cairo::toPixelValue;

StreamSettings streamAt(int rotation) {
    return {1920, 1080, rotation, false};
}

TEST(TransformCairo, TurnsAPointWithThePicture) {
    // A quarter from the left, an eighth from the top of the unturned picture.
    EXPECT_EQ(toPixelValue(-2048, 3072, streamAt(0), {}), (PixelPair{480, 135}));
    EXPECT_EQ(toPixelValue(-2048, 3072, streamAt(90), {}), (PixelPair{945, 480}));
    EXPECT_EQ(toPixelValue(-2048, 3072, streamAt(180), {}), (PixelPair{1440, 945}));
    EXPECT_EQ(toPixelValue(-2048, 3072, streamAt(270), {}), (PixelPair{135, 1440}));
}

TEST(TransformCairo, CountsFromBelowTheUpperMargin) {
    const ExternalOverlayUnion margins{.top = 32, .bottom = 64};
    EXPECT_EQ(toPixelValue(-2048, 3072, streamAt(0), margins), (PixelPair{480, 103}));
    EXPECT_EQ(toPixelValue(-2048, 3072, streamAt(90), margins), (PixelPair{945, 448}));
    EXPECT_EQ(toPixelValue(-2048, 3072, streamAt(180), margins), (PixelPair{1440, 913}));
    EXPECT_EQ(toPixelValue(-2048, 3072, streamAt(270), margins), (PixelPair{135, 1408}));
}

TEST(TransformCairo, ReachesTheEdges) {
    EXPECT_EQ(toPixelValue(-4096, 4096, streamAt(0), {}), (PixelPair{0, 0}));
    EXPECT_EQ(toPixelValue(4096, -4096, streamAt(0), {}), (PixelPair{1920, 1080}));
    EXPECT_EQ(toPixelValue(-4096, -4096, streamAt(90), {}), (PixelPair{0, 0}));
    EXPECT_EQ(toPixelValue(4096, -4096, streamAt(180), {}), (PixelPair{0, 0}));
    EXPECT_EQ(toPixelValue(4096, 4096, streamAt(270), {}), (PixelPair{0, 0}));
}

TEST(TransformCairo, TruncatesBeforeItFlips) {
    // One unit is less than a pixel, on either side of the edge.
    EXPECT_EQ(toPixelValue(-4095, -4095, streamAt(0), {}), (PixelPair{0, 1080}));
    EXPECT_EQ(toPixelValue(-4097, -4097, streamAt(0), {}), (PixelPair{0, 1080}));
    EXPECT_EQ(toPixelValue(-4095, -4095, streamAt(180), {}), (PixelPair{1920, 0}));
}

TEST(TransformCairo, KeepsSixteenBits) {
    // 24576 units are 3 widths: 49152 pixels of a stream 16384 wide.
    EXPECT_EQ(toPixelValue(20480, 4096, {16384, 16, 0, false}, {}), (PixelPair{-16384, 0}));
    EXPECT_EQ(scaleSize(24576, 0, {16384, 16, 0, false}), (PixelPair{-16384, 0}));
    const ExternalOverlayUnion far{.top = std::numeric_limits<int>::max(), .bottom = 0};
    EXPECT_EQ(toPixelValue(-4096, 4096, streamAt(0), far), (PixelPair{0, 1}));
    EXPECT_EQ(toPixelValue(0, 0, streamAt(45), far), (PixelPair{0, 1}));
}

TEST(TransformCairo, ScalesASizeWithThePicture) {
    EXPECT_EQ(scaleSize(2048, 1024, streamAt(0)), (PixelPair{480, 135}));
    EXPECT_EQ(scaleSize(2048, 1024, streamAt(90)), (PixelPair{135, 480}));
    EXPECT_EQ(scaleSize(2048, 1024, streamAt(180)), (PixelPair{480, 135}));
    EXPECT_EQ(scaleSize(2048, 1024, streamAt(270)), (PixelPair{135, 480}));
    EXPECT_EQ(scaleSize(4, 7, streamAt(0)), (PixelPair{0, 0}));
    EXPECT_EQ(scaleSize(-2048, -9, streamAt(0)), (PixelPair{-480, -1}));
}

TEST(TransformCairo, LogsARotationThatItDoesNotKnow) {
    const SyslogCapture log;
    EXPECT_EQ(toPixelValue(2048, 1024, streamAt(45), {.top = 16, .bottom = 0}),
              (PixelPair{0, -16}));
    EXPECT_EQ(scaleSize(2048, 1024, streamAt(-90)), (PixelPair{0, 0}));
    EXPECT_THAT(
        log.lines(),
        testing::ElementsAre(SyslogCapture::Line{LOG_WARNING, "Unhandled rotation, value: 45\n"},
                             SyslogCapture::Line{LOG_WARNING, "Unhandled rotation, value: -90\n"}));
}

}  // namespace
