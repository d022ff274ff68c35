#include "overlay/external_overlay_container.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "overlay/overlay_properties.h"
#include "support/syslog_capture.h"

namespace {

using testing::IsEmpty;
using testing::SizeIs;

class ExternalOverlays : public testing::Test {
protected:
    static ExternalOverlay makeText(int id, const std::string& position, int height) {
        ExternalOverlay overlay;
        overlay.overlayId = id;
        overlay.isScalable = true;
        overlay.type = ExternalOverlayText;
        overlay.setProperties({.id = id, .height = std::to_string(height), .position = position});
        return overlay;
    }
    void expectMargins(int top, int bottom) const {
        EXPECT_EQ(overlays.getResultingExternalOverlayUnion(),
                  (ExternalOverlayUnion{.top = top, .bottom = bottom}));
    }

    ExternalOverlayContainer overlays{StreamSettings(1920, 1080, 0, false)};
};

TEST_F(ExternalOverlays, TakeNothingWhenThereAreNone) {
    expectMargins(0, 0);
    overlays.updateResultingExternalOverlayUnion();
    expectMargins(0, 0);
}

TEST_F(ExternalOverlays, TakeAMarginInWholeMacroBlocks) {
    overlays.insert(makeText(1, "top", 40));
    expectMargins(48, 0);
}

TEST_F(ExternalOverlays, TakeBothMargins) {
    overlays.insert(makeText(1, "top", 40));
    overlays.insert(makeText(2, "bottomleft", 30));
    expectMargins(48, 32);
}

TEST_F(ExternalOverlays, TakeTheLargerOfTwoMargins) {
    overlays.insert(makeText(1, "top", 40));
    overlays.insert(makeText(2, "topright", 60));
    overlays.insert(makeText(3, "topleft", 20));
    expectMargins(64, 0);
}

TEST_F(ExternalOverlays, TakeTheBottomForACustomPositionThere) {
    overlays.insert(makeText(1, "0,0.9", 40));
    expectMargins(0, 64);
}

TEST_F(ExternalOverlays, AddWhatOnesOfAnotherTypeTake) {
    ExternalOverlay overlay = makeText(1, "top", 40);
    overlay.type = ExternalOverlayOther;
    overlays.setStreamSettings({320, 180, 0, false});
    overlays.insert(overlay);
    expectMargins(48, 0);
}

TEST_F(ExternalOverlays, AreReplacedByOneOfTheirId) {
    overlays.insert(makeText(1, "top", 40));
    overlays.insert(makeText(1, "bottom", 20));
    expectMargins(0, 32);
    ExternalOverlay other = makeText(1, "0,0.5", 20);
    other.type = ExternalOverlayImage;
    other.isScalable = false;
    overlays.insert(other);
    expectMargins(0, 272);
    EXPECT_THAT(overlays.getExternalOverlays(), SizeIs(1));
    EXPECT_EQ(overlays.getExternalOverlay(1)->type, ExternalOverlayImage);
    EXPECT_FALSE(overlays.getExternalOverlay(1)->isScalable);
}

TEST_F(ExternalOverlays, AreFoundById) {
    overlays.insert(makeText(1, "top", 40));
    overlays.insert(makeText(2, "top", 20));
    ASSERT_NE(overlays.getExternalOverlay(2), nullptr);
    EXPECT_EQ(overlays.getExternalOverlay(2)->height, 20);
    EXPECT_EQ(overlays.getExternalOverlay(3), nullptr);
}

TEST_F(ExternalOverlays, GiveTheirMarginBackWhenTheyAreRemoved) {
    overlays.insert(makeText(1, "top", 40));
    overlays.insert(makeText(2, "top", 60));
    overlays.remove(2);
    expectMargins(48, 0);
    overlays.remove(9);
    expectMargins(48, 0);
    overlays.remove(1);
    expectMargins(0, 0);
    EXPECT_THAT(overlays.getExternalOverlays(), IsEmpty());
}

TEST_F(ExternalOverlays, KeepTheirMarginWhenTheyAreRemovedWithoutUpdate) {
    overlays.insert(makeText(1, "top", 40));
    overlays.removeWithoutUpdate(1);
    EXPECT_EQ(overlays.getExternalOverlay(1), nullptr);
    expectMargins(48, 0);
    overlays.updateResultingExternalOverlayUnion();
    expectMargins(0, 0);
}

TEST_F(ExternalOverlays, TakeNewProperties) {
    overlays.insert(makeText(1, "top", 40));
    overlays.updateOverlayProperties({.id = 1, .height = "70", .position = "bottom"});
    expectMargins(0, 80);
}

TEST_F(ExternalOverlays, IgnorePropertiesOfOneThatIsNotThere) {
    const SyslogCapture log;
    overlays.insert(makeText(1, "top", 40));
    overlays.updateOverlayProperties({.id = 2, .height = "70", .position = "bottom"});
    expectMargins(48, 0);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ExternalOverlays, GoOverToOtherStreams) {
    overlays.insert(makeText(1, "top", 540));
    expectMargins(544, 0);
    overlays.setStreamSettings({1280, 720, 0, false});
    expectMargins(368, 0);
    overlays.setStreamSettings({1280, 720, 90, false});
    expectMargins(640, 0);
}

TEST_F(ExternalOverlays, TakeNothingInStreamsWithoutSize) {
    overlays = ExternalOverlayContainer();
    overlays.insert(makeText(1, "top", 40));
    overlays.insert(makeText(2, "0,0.9", 40));
    expectMargins(0, 0);
}

}  // namespace
