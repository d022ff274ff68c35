#include "overlay/external_overlay.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "device/stream_settings.h"
#include "overlay/overlay_properties.h"
#include "support/failure_of.h"
#include "support/syslog_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const StreamSettings kFullHd(1920, 1080, 0, false);

ExternalOverlay makeText(bool isScalable = false) {
    ExternalOverlay overlay;
    overlay.overlayId = 7;
    overlay.isScalable = isScalable;
    overlay.type = ExternalOverlayText;
    return overlay;
}

ExternalOverlay makeTextAt(const std::string& position, int height, bool isScalable = false) {
    ExternalOverlay overlay = makeText(isScalable);
    overlay.setProperties({.id = 7, .height = std::to_string(height), .position = position});
    return overlay;
}

/// Top and bottom.
std::vector<int> marginsOf(const ExternalOverlay& overlay,
                           const StreamSettings& settings = kFullHd) {
    return {overlay.getTop(settings), overlay.getBottom(settings)};
}

class ExternalOverlayTest : public testing::Test {
protected:
    SyslogCapture log;
};

TEST_F(ExternalOverlayTest, HasTypesThatTravel) {
    EXPECT_EQ(ExternalOverlayOther, 0);
    EXPECT_EQ(ExternalOverlayText, 1);
    EXPECT_EQ(ExternalOverlayImage, 2);
}

TEST_F(ExternalOverlayTest, TakesTheTopOrTheBottom) {
    for (const char* position : {"topleft", "topright", "top"}) {
        EXPECT_THAT(marginsOf(makeTextAt(position, 40)), ElementsAre(40, 0)) << position;
    }
    for (const char* position : {"bottomleft", "bottomright", "bottom"}) {
        EXPECT_THAT(marginsOf(makeTextAt(position, 40)), ElementsAre(0, 40)) << position;
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ExternalOverlayTest, MovesFromTheTopToTheBottomAndBack) {
    ExternalOverlay overlay = makeTextAt("top", 40);
    overlay.handleNonCustomProperties(50, "bottom");
    EXPECT_THAT(marginsOf(overlay), ElementsAre(0, 50));
    EXPECT_EQ(overlay.height, 50);
    overlay.handleNonCustomProperties(60, "topright");
    EXPECT_THAT(marginsOf(overlay), ElementsAre(60, 0));
}

TEST_F(ExternalOverlayTest, StaysAsItWasAtAnEmptyPosition) {
    ExternalOverlay overlay = makeTextAt("top", 40);
    overlay.setProperties({.id = 7, .height = "50", .position = ""});
    EXPECT_THAT(marginsOf(overlay), ElementsAre(40, 0));
    EXPECT_EQ(overlay.height, 40);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ExternalOverlayTest, KnowsNoOtherNamesOfPositions) {
    ExternalOverlay overlay = makeTextAt("top", 40);
    for (const char* position : {"middle", "Top", "top ", "topleftright"}) {
        EXPECT_EQ(failureOf([&] { overlay.handleNonCustomProperties(50, position); }),
                  std::string("Could not parse the position of the overlay: ") + position);
    }
    EXPECT_THAT(marginsOf(overlay), ElementsAre(40, 0));
    EXPECT_EQ(overlay.height, 40);
}

TEST_F(ExternalOverlayTest, TakesAPairOfCoordinates) {
    for (const char* position : {"-0.5,0.25", "-0.5x0.25", "+.5,0.25", "1x.25"}) {
        const ExternalOverlay overlay = makeTextAt(position, 40);
        EXPECT_TRUE(overlay.isCustomPosition) << position;
        EXPECT_EQ(overlay.customY, 0.25F) << position;
        EXPECT_EQ(overlay.height, 40) << position;
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ExternalOverlayTest, ToleratesCoordinatesJustOutsideThePicture) {
    ExternalOverlay overlay = makeText();
    for (const char* position : {"1,1", "-1,-1", "1.00001,-1.00001", "-1.00001,1.00001"}) {
        EXPECT_EQ(failureOf([&] { overlay.handleCustomProperties(40, position); }), "") << position;
    }
    EXPECT_FLOAT_EQ(overlay.customY, 1.00001F);
}

TEST_F(ExternalOverlayTest, RefusesWhatIsNoPairOfCoordinates) {
    ExternalOverlay overlay = makeText();
    for (const char* position :
         {"1.00002,0", "-1.00002,0", "0,1.00002", "0,-1.00002", "0", "", "0,", ",0", "0,0,0",
          "0x0x0", "0x0,0", "a,0", "0,a", "0, 0", "1e-1,0", "nan,0", ".,0", "0,-", "0;0"}) {
        EXPECT_EQ(failureOf([&] { overlay.handleCustomProperties(40, position); }),
                  std::string("Failed to handle overlay property position string: ") + position);
    }
    EXPECT_FALSE(overlay.isCustomPosition);
    EXPECT_EQ(overlay.height, 0);
}

TEST_F(ExternalOverlayTest, TakesOnlyTheHeightWhenACustomPositionStays) {
    ExternalOverlay overlay = makeTextAt("0,0.5", 40);
    overlay.setProperties({.id = 7, .height = "60", .position = ""});
    EXPECT_TRUE(overlay.isCustomPosition);
    EXPECT_EQ(overlay.customY, 0.5F);
    EXPECT_EQ(overlay.height, 60);
}

TEST_F(ExternalOverlayTest, GoesBackToANamedPosition) {
    ExternalOverlay overlay = makeTextAt("0,0.5", 40);
    overlay.setProperties({.id = 7, .height = "60", .position = "top"});
    EXPECT_FALSE(overlay.isCustomPosition);
    EXPECT_THAT(marginsOf(overlay), ElementsAre(60, 0));
}

TEST_F(ExternalOverlayTest, LogsPropertiesThatCannotBeSetAndStaysAsItWas) {
    ExternalOverlay overlay = makeTextAt("top", 40);
    overlay.setProperties({.id = 7, .height = "4O", .position = "bottom"});
    overlay.setProperties({.id = 7, .height = "", .position = "bottom"});
    overlay.setProperties({.id = 7, .height = "50", .position = "middle"});
    overlay.setProperties({.id = 7, .height = "50", .position = "2,2"});
    EXPECT_THAT(marginsOf(overlay), ElementsAre(40, 0));
    EXPECT_EQ(overlay.height, 40);
    EXPECT_FALSE(overlay.isCustomPosition);
    const std::string start = "Could not set properties for overlay 7: ";
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            SyslogCapture::Line{LOG_WARNING, start + "Failed to parse height: 4O\n"},
            SyslogCapture::Line{LOG_WARNING, start + "Failed to parse height: \n"},
            SyslogCapture::Line{LOG_WARNING,
                                start + "Could not parse the position of the overlay: middle\n"},
            SyslogCapture::Line{
                LOG_WARNING, start + "Failed to handle overlay property position string: 2,2\n"}));
}

TEST_F(ExternalOverlayTest, ScalesWithTheStreamWhenItIsScalable) {
    const ExternalOverlay top = makeTextAt("top", 40, true);
    const ExternalOverlay bottom = makeTextAt("bottom", 40, true);
    EXPECT_THAT(marginsOf(top), ElementsAre(40, 0));
    EXPECT_THAT(marginsOf(top, {1280, 720, 0, false}), ElementsAre(26, 0));
    EXPECT_THAT(marginsOf(bottom, {1280, 720, 180, false}), ElementsAre(0, 26));
    EXPECT_THAT(marginsOf(top, {1280, 720, 90, false}), ElementsAre(47, 0));
    EXPECT_THAT(marginsOf(bottom, {1280, 720, 270, false}), ElementsAre(0, 47));
    EXPECT_THAT(marginsOf(makeTextAt("top", 40), {1280, 720, 0, false}), ElementsAre(40, 0));
}

TEST_F(ExternalOverlayTest, ReachesFromTheTopToItsLowerEdge) {
    // The upper edge is at a quarter of the height.
    EXPECT_THAT(marginsOf(makeTextAt("0,-0.5", 40)), ElementsAre(270 + 40, 0));
    EXPECT_THAT(marginsOf(makeTextAt("0,-1", 40)), ElementsAre(40, 0));
}

TEST_F(ExternalOverlayTest, FindsItsUpperEdgeInDoublePrecision) {
    // 0.4 as a float lies just above: not quite 324 lines.
    EXPECT_THAT(marginsOf(makeTextAt("0,-0.4", 40)), ElementsAre(323 + 40, 0));
}

TEST_F(ExternalOverlayTest, ReachesFromTheBottomToItsUpperEdge) {
    EXPECT_THAT(marginsOf(makeTextAt("0,0.5", 40)), ElementsAre(0, 270));
    // 0.9 as a float lies just below: 1025 lines, and a lower edge at 1065.
    EXPECT_THAT(marginsOf(makeTextAt("0,0.9", 40, true)), ElementsAre(0, 55));
}

TEST_F(ExternalOverlayTest, BelongsToTheBottomWhenItsMiddleIsBelowTheMiddle) {
    // Edges at 520 and 560, and the middle at 540.
    EXPECT_THAT(marginsOf(makeTextAt("0,-0.037", 40)), ElementsAre(520 + 40, 0));
    // Edges at 521 and 561.
    EXPECT_THAT(marginsOf(makeTextAt("0,-0.035", 40)), ElementsAre(0, 1080 - 521));
    // An odd height counts as half of one less: a lower edge at 561 less 20.
    EXPECT_THAT(marginsOf(makeTextAt("0,-0.037", 41)), ElementsAre(0, 1080 - 520));
}

TEST_F(ExternalOverlayTest, ScalesTheHeightAtACustomPosition) {
    const ExternalOverlay overlay = makeTextAt("0,-1", 40, true);
    EXPECT_THAT(marginsOf(overlay, {1280, 720, 0, false}), ElementsAre(26, 0));
    EXPECT_THAT(marginsOf(overlay, {1280, 720, 180, false}), ElementsAre(26, 0));
    EXPECT_THAT(marginsOf(overlay, {1280, 720, 90, false}), ElementsAre(26, 0));
    EXPECT_THAT(marginsOf(overlay, {1920, 1080, 270, false}), ElementsAre(40, 0));
    EXPECT_THAT(marginsOf(overlay, {1920, 720, 90, false}), ElementsAre(40, 0));
}

TEST_F(ExternalOverlayTest, IsNotScaledWhenItIsNeitherTextNorImage) {
    ExternalOverlay overlay = makeTextAt("top", 40, true);
    overlay.type = ExternalOverlayOther;
    EXPECT_THAT(marginsOf(overlay, {1280, 720, 0, false}), ElementsAre(40, 0));
    overlay.type = ExternalOverlayImage;
    EXPECT_THAT(marginsOf(overlay, {1280, 720, 0, false}), ElementsAre(26, 0));
}

TEST_F(ExternalOverlayTest, KeepsItsNamedMarginsAtACustomPositionWhenItIsOfAnotherType) {
    ExternalOverlay overlay = makeTextAt("top", 40);
    overlay.type = ExternalOverlayOther;
    overlay.setProperties({.id = 7, .height = "60", .position = "0,0.9"});
    EXPECT_THAT(marginsOf(overlay), ElementsAre(40, 0));
}

TEST_F(ExternalOverlayTest, CopesWithAnyHeight) {
    constexpr int kLargest = std::numeric_limits<int>::max();
    EXPECT_THAT(marginsOf(makeTextAt("top", kLargest, true), {1, 1 << 20, 0, false}),
                ElementsAre(kLargest, 0));
    EXPECT_THAT(marginsOf(makeTextAt("0,1", kLargest)), ElementsAre(0, 0));
    EXPECT_THAT(marginsOf(makeTextAt("0,-1", 0), {}), ElementsAre(0, 0));
}

}  // namespace
