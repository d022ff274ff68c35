#include "onvif/transform_onvif.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>

#include "device/stream_settings.h"
#include "support/syslog_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Line = SyslogCapture::Line;
using Pair = std::pair<double, double>;

class TransformOnvifTest : public testing::Test {
protected:
    ~TransformOnvifTest() override { EXPECT_THAT(log.lines(), IsEmpty()); }

    static StreamSettings stream(int rotation, int width = 1000, int height = 500) {
        return {width, height, rotation, false};
    }
    static Point toPixel(double x, double y, const StreamSettings& settings) {
        return Transform::Onvif::toPixelValue(x, y, settings);
    }
    static Pair fromPixel(int x, int y, const StreamSettings& settings) {
        return Transform::Onvif::fromPixelValue(x, y, settings);
    }

    SyslogCapture log;
};

TEST_F(TransformOnvifTest, MapsTheEdgesToTheEdges) {
    EXPECT_EQ((Point{0, 0}), toPixel(-1.0, -1.0, stream(0)));
    EXPECT_EQ((Point{1000, 500}), toPixel(1.0, 1.0, stream(0)));
    EXPECT_EQ((Point{500, 250}), toPixel(0.0, 0.0, stream(0)));
    EXPECT_EQ((Point{1000, 500}), toPixel(-1.0, -1.0, stream(180)));
    EXPECT_EQ((Point{0, 0}), toPixel(1.0, 1.0, stream(180)));
}

// x of 0.5 is three quarters of the way: 750 of 1000. y of -0.5 is a quarter: 125 of 500.
TEST_F(TransformOnvifTest, TurnsWithTheStream) {
    EXPECT_EQ((Point{750, 125}), toPixel(0.5, -0.5, stream(0)));
    EXPECT_EQ((Point{125, 250}), toPixel(0.5, -0.5, stream(90)));
    EXPECT_EQ((Point{250, 375}), toPixel(0.5, -0.5, stream(180)));
    EXPECT_EQ((Point{375, 750}), toPixel(0.5, -0.5, stream(270)));
}

TEST_F(TransformOnvifTest, RoundsToUnitsHalfAwayFromZero) {
    const StreamSettings units = stream(0, 8192, 8192);
    const double half = 0.5 / 4096;
    EXPECT_EQ((Point{4097, 4095}), toPixel(half, -half, units));
    const double less = half - 1e-12;
    EXPECT_EQ((Point{4096, 4096}), toPixel(less, -less, units));
    EXPECT_EQ((Point{4098, 4094}), toPixel(3 * half, -3 * half, units));
    EXPECT_EQ((Point{4096, 4096}), toPixel(0.0, -0.0, units));
}

TEST_F(TransformOnvifTest, TruncatesPixels) {
    EXPECT_EQ((Point{3, 6}), toPixel(0.0, 0.999, stream(0, 7, 7)));
    EXPECT_EQ((Point{4, 1}), toPixel(0.0, 0.999, stream(180, 7, 7)));
    // Towards zero, also from below it.
    EXPECT_EQ((Point{0, 0}), toPixel(-1.2, -1.2, stream(0, 7, 7)));
}

TEST_F(TransformOnvifTest, CutsPixelsTo16Bits) {
    EXPECT_EQ((Point{-32768, -25536}), toPixel(1.0, 1.0, stream(0, 32768, 40000)));
    // The product itself wraps in 32 bits: 8192 * 262144 is -2147483648.
    EXPECT_EQ((Point{0, 0}), toPixel(1.0, 1.0, stream(0, 262144, 262144)));
    EXPECT_EQ((Point{32767, 0}), toPixel(0.0, -1.0, stream(0, 65534, 10)));
}

TEST_F(TransformOnvifTest, SurvivesAnyNumber) {
    for (const double value : {1e300, -1e300, HUGE_VAL, -HUGE_VAL, std::nan("")}) {
        for (const int size : {INT32_MIN, -1, 0, 1, INT32_MAX}) {
            for (const int rotation : {0, 90, 180, 270}) {
                toPixel(value, value, stream(rotation, size, size));
                fromPixel(INT32_MIN, INT32_MAX, stream(rotation, size, size));
            }
        }
    }
    EXPECT_EQ((Point{500, 250}), toPixel(std::nan(""), std::nan(""), stream(0)));
}

TEST_F(TransformOnvifTest, MapsPixelsToTheSameEdges) {
    EXPECT_EQ(Pair(-1.0, -1.0), fromPixel(0, 0, stream(0)));
    EXPECT_EQ(Pair(1.0, 1.0), fromPixel(1000, 500, stream(0)));
    EXPECT_EQ(Pair(0.0, 0.0), fromPixel(500, 250, stream(0)));
    EXPECT_EQ(Pair(1.0, 1.0), fromPixel(0, 0, stream(180)));
    EXPECT_EQ(Pair(-1.0, -1.0), fromPixel(1000, 500, stream(180)));
}

TEST_F(TransformOnvifTest, NormalisesInSteps) {
    EXPECT_EQ(Pair(0.5, -0.60009765625 + 1.0 / 4096), fromPixel(750, 100, stream(0)));
    EXPECT_EQ(Pair(-2457.0 / 4096, -0.5), fromPixel(750, 100, stream(90)));
    EXPECT_EQ(Pair(-0.5, 2457.0 / 4096), fromPixel(750, 100, stream(180)));
    EXPECT_EQ(Pair(2457.0 / 4096, 0.5), fromPixel(750, 100, stream(270)));
}

TEST_F(TransformOnvifTest, GivesZeroAlongASideOfNoLength) {
    for (const int rotation : {0, 90, 180, 270}) {
        EXPECT_EQ(Pair(0.0, 0.0), fromPixel(17, 18, stream(rotation, 0, 0)));
    }
    EXPECT_EQ(Pair(0.0, 1.0), fromPixel(17, 500, stream(0, 0, 500)));
    EXPECT_EQ(Pair(1.0, 0.0), fromPixel(1000, 17, stream(0, 1000, 0)));
}

TEST_F(TransformOnvifTest, LeadsBackAtRotations0And180) {
    for (const int rotation : {0, 180}) {
        const auto [x, y] = fromPixel(250, 125, stream(rotation));
        EXPECT_EQ((Point{250, 125}), toPixel(x, y, stream(rotation)));
    }
}

TEST_F(TransformOnvifTest, NegatesOnASquareStreamAtRotations90And270) {
    for (const int rotation : {90, 270}) {
        const StreamSettings square = stream(rotation, 800, 800);
        const auto [x, y] = fromPixel(200, 700, square);
        EXPECT_EQ((Point{600, 100}), toPixel(x, y, square));
    }
}

// x is a quarter of the width left of the centre: it comes back a quarter of the height right of
// the middle of the height. y is in the middle, and comes back in the middle of the width.
TEST_F(TransformOnvifTest, NegatesAndScalesOnAnyOtherStreamAtRotations90And270) {
    for (const int rotation : {90, 270}) {
        const auto [x, y] = fromPixel(250, 250, stream(rotation));
        EXPECT_EQ((Point{375, 500}), toPixel(x, y, stream(rotation)));
    }
}

TEST_F(TransformOnvifTest, DoesNotLookAtTheMirrorFlag) {
    const StreamSettings mirrored(1000, 500, 0, true);
    EXPECT_EQ((Point{750, 125}), toPixel(0.5, -0.5, mirrored));
    EXPECT_EQ(Pair(0.5, 0.0), fromPixel(750, 250, mirrored));
}

TEST_F(TransformOnvifTest, ReportsARotationItDoesNotKnow) {
    EXPECT_EQ((Point{0, 0}), toPixel(1.0, 1.0, stream(45)));
    EXPECT_EQ(Pair(0.0, 0.0), fromPixel(1000, 500, stream(-90)));
    EXPECT_EQ(Pair(0.0, 0.0), fromPixel(1000, 500, stream(360)));
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_WARNING, "Unhandled rotation, value: 45\n"},
                                         Line{LOG_WARNING, "Unhandled rotation, value: -90\n"},
                                         Line{LOG_WARNING, "Unhandled rotation, value: 360\n"}));
    log.clear();
}

}  // namespace
