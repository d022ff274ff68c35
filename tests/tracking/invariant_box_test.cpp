#include "tracking/invariant_box.h"

#include <memory>

#include "geometry/polygon.h"
#include "support/syslog_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr Point centre{100, 1000};

InvariantBox box(int rotation, float aspectRatio = 1.0F) {
    return InvariantBox(102, 206, rotation, aspectRatio);
}

// Of the foot box around the centre: left, right, low, high.
std::vector<int> footBox(int rotation) {
    const std::unique_ptr<Polygon> foot(box(rotation).getFootBox(centre));
    return {foot->minX, foot->maxX, foot->minY, foot->maxY};
}

}  // namespace

TEST(InvariantBox, SwapsItsSidesWhenItIsMountedOnItsSide) {
    EXPECT_EQ(box(0).getWidth(), 102);
    EXPECT_EQ(box(0).getHeight(), 206);
    EXPECT_EQ(box(90).getWidth(), 206);
    EXPECT_EQ(box(90).getHeight(), 102);
    EXPECT_EQ(box(180).getWidth(), 102);
    EXPECT_EQ(box(180).getHeight(), 206);
    EXPECT_EQ(box(270).getWidth(), 206);
    EXPECT_EQ(box(270).getHeight(), 102);
}

TEST(InvariantBox, CorrectsItsWidthByTheAspectRatio) {
    EXPECT_EQ(InvariantBox(100, 150, 0, 1.5F).getAspectCorrectedWidth(), 150);
    EXPECT_EQ(InvariantBox(100, 150, 180, 1.5F).getAspectCorrectedWidth(), 150);
    EXPECT_EQ(InvariantBox(100, 150, 90, 1.5F).getAspectCorrectedWidth(), 100);
    EXPECT_EQ(InvariantBox(100, 150, 270, 1.5F).getAspectCorrectedWidth(), 100);
}

TEST(InvariantBox, RoundsTheCorrectedWidthToTheNearest) {
    EXPECT_EQ(InvariantBox(3, 0, 0, 1.5F).getAspectCorrectedWidth(), 5);    // 4.5
    EXPECT_EQ(InvariantBox(9, 0, 0, 1.25F).getAspectCorrectedWidth(), 11);  // 11.25
    EXPECT_EQ(InvariantBox(0, 10, 90, 4.0F).getAspectCorrectedWidth(), 3);  // 2.5
}

TEST(InvariantBox, CorrectsItsWidthInSinglePrecision) {
    // 0.7F is less than 0.7, and only in single precision does the product reach the half.
    EXPECT_EQ(InvariantBox(5, 0, 0, 0.7F).getAspectCorrectedWidth(), 4);
    // So large, only in single precision does adding the half end at the next whole number.
    EXPECT_EQ(InvariantBox(8388609, 0, 0, 1.0F).getAspectCorrectedWidth(), 8388610);
}

TEST(InvariantBox, DoesNotCorrectItsHeight) {
    EXPECT_EQ(box(0, 1.5F).getAspectCorrectedHeight(), 206);
    EXPECT_EQ(box(90, 1.5F).getAspectCorrectedHeight(), 102);
}

TEST(InvariantBox, HasItsFeetOnTheSideThatIsDown) {
    EXPECT_EQ(box(0).getFootPositionValue(centre), 1000 - 103);
    EXPECT_EQ(box(90).getFootPositionValue(centre), 100 + 51);
    EXPECT_EQ(box(180).getFootPositionValue(centre), 1000 + 103);
    EXPECT_EQ(box(270).getFootPositionValue(centre), 100 - 51);
}

TEST(InvariantBox, KnowsTheCornerThatIsLowerLeftAsViewed) {
    EXPECT_EQ(box(0).getViewedLowerLeft(centre), (Point{49, 897}));
    EXPECT_EQ(box(90).getViewedLowerLeft(centre), (Point{151, 897}));
    EXPECT_EQ(box(180).getViewedLowerLeft(centre), (Point{151, 1103}));
    EXPECT_EQ(box(270).getViewedLowerLeft(centre), (Point{49, 1103}));
}

TEST(InvariantBox, WrapsTheLowerLeftCornerTo16Bits) {
    EXPECT_EQ(InvariantBox(10, 10, 0, 1.0F).getViewedLowerLeft({-32768, -32766}),
              (Point{32763, 32765}));
}

TEST(InvariantBox, HasAQuarterOfItselfAsFootBox) {
    EXPECT_THAT(footBox(0), ElementsAre(49, 151, 897, 949));
    EXPECT_THAT(footBox(90), ElementsAre(125, 151, 897, 1103));
    EXPECT_THAT(footBox(180), ElementsAre(49, 151, 1051, 1103));
    EXPECT_THAT(footBox(270), ElementsAre(49, 75, 897, 1103));
}

TEST(InvariantBox, HalvesTowardsZero) {
    const InvariantBox odd(101, 203, 0, 1.0F);
    EXPECT_EQ(odd.getViewedLowerLeft({0, 0}), (Point{-50, -101}));
    EXPECT_EQ(odd.getFootPositionValue({0, 0}), -101);
}

TEST(InvariantBox, LogsARotationOf45AndTakesItHalfAsUprightHalfAsOnItsSide) {
    const SyslogCapture log;
    const InvariantBox tilted = box(45, 2.0F);
    EXPECT_THAT(log.lines(),
                ElementsAre(SyslogCapture::Line{LOG_WARNING, "Unexpected camera rotation 45\n"}));
    EXPECT_EQ(tilted.getWidth(), 206);
    EXPECT_EQ(tilted.getHeight(), 102);
    EXPECT_EQ(tilted.getAspectCorrectedWidth(), 103);
    EXPECT_EQ(tilted.getFootPositionValue(centre), 1000 - 103);
    EXPECT_EQ(tilted.getViewedLowerLeft(centre), (Point{49, 897}));
    EXPECT_THAT(footBox(45), ElementsAre(49, 151, 897, 949));
}

TEST(InvariantBox, TakesRightAnglesSilently) {
    const SyslogCapture log;
    for (const int rotation : {0, 90, 180, 270}) {
        box(rotation);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(InvariantBox, ReplacesItsSize) {
    InvariantBox updated = box(0);
    updated.update(1, 2);
    EXPECT_EQ(updated.getWidth(), 1);
    EXPECT_EQ(updated.getHeight(), 2);
}

TEST(InvariantBox, MergesIntoTheLargerOfEachSide) {
    InvariantBox target(10, 200, 0, 1.0F);
    target.merge(InvariantBox(20, 100, 0, 1.0F));
    EXPECT_EQ(target.getWidth(), 20);
    EXPECT_EQ(target.getHeight(), 200);
}

TEST(InvariantBox, LogsAndKeepsItsSizeWhenItCannotMerge) {
    const SyslogCapture log;
    InvariantBox target(10, 20, 0, 1.5F);
    target.merge(InvariantBox(100, 200, 90, 1.5F));
    target.merge(InvariantBox(100, 200, 0, 1.25F));
    EXPECT_EQ(target.getWidth(), 10);
    EXPECT_EQ(target.getHeight(), 20);
    EXPECT_THAT(
        log.lines(),
        ElementsAre(SyslogCapture::Line{LOG_WARNING,
                                        "Cannot merge two Invariant boxes with different aspect "
                                        "ratio or image rotation,box 1: aspect ratio = 1.500000 "
                                        "image rotation = 0 - box 2: aspect ratio = 1.500000 "
                                        "image rotation = 90\n"},
                    SyslogCapture::Line{LOG_WARNING,
                                        "Cannot merge two Invariant boxes with different aspect "
                                        "ratio or image rotation,box 1: aspect ratio = 1.500000 "
                                        "image rotation = 0 - box 2: aspect ratio = 1.250000 "
                                        "image rotation = 0\n"}));
}

TEST(InvariantBox, TellsItsViewedSize) {
    EXPECT_EQ(box(0).toString(), "{width: 102, height: 206}");
    EXPECT_EQ(box(90).toString(), "{width: 206, height: 102}");
}
