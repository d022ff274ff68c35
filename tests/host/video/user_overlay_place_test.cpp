#include "video/user_overlay_place.h"

#include <gmock/gmock.h>

#include <string>

#include "video/overlay_snapshot.h"
#include "video/stream.h"

using namespace UserOverlayPlace;

namespace {

constexpr Stream upright = {1, 1, 1280, 720, 0};
constexpr Stream onItsSide = {2, 1, 1280, 720, 90};  // seen 720 wide and 1280 high

UserOverlay overlayAt(const std::string& position, bool isScalable = true) {
    UserOverlay overlay;
    overlay.position = position;
    overlay.isScalable = isScalable;
    return overlay;
}

std::string corner(const std::string& position, const Stream& stream = upright) {
    const auto point = findCorner(overlayAt(position), stream, {100, 30});
    return point ? std::to_string(point->x) + "," + std::to_string(point->y) : "none";
}

}  // namespace

TEST(UserOverlayPlace, PutsPlainOverlaysAtTheEdges) {
    EXPECT_EQ(corner("topleft"), "0,0");
    EXPECT_EQ(corner("top"), "590,0");
    EXPECT_EQ(corner("topright"), "1180,0");
    EXPECT_EQ(corner("bottomleft"), "0,690");
    EXPECT_EQ(corner("bottom"), "590,690");
    EXPECT_EQ(corner("bottomright"), "1180,690");
}

TEST(UserOverlayPlace, GoesByThePictureAsItIsSeen) {
    EXPECT_EQ(corner("bottomright", onItsSide), "620,1250");
    EXPECT_EQ(corner("0,0", onItsSide), "360,640");
}

TEST(UserOverlayPlace, PutsOthersWithTheirUpperLeftCornerAtThePlace) {
    EXPECT_EQ(corner("-1,-1"), "0,0");
    EXPECT_EQ(corner("0,0"), "640,360");
    EXPECT_EQ(corner("1,1"), "1280,720");
    EXPECT_EQ(corner("0.5,-0.25"), "960,270");
    EXPECT_EQ(corner("-.999,0.999"), "0,719");  // cut off, not rounded
}

TEST(UserOverlayPlace, KnowsNoOtherPositions) {
    for (const std::string position :
         {"", "left", "middle", "topp", "topleftright", "bottomtop", "1,", ",1", "x", "1.1,0",
          "0,-1.1", "a,b", "0,0,0", "nan,0", "0x0", "1e0,0", "0x1p0,0"}) {
        EXPECT_EQ(corner(position), "none") << position;
    }
}

TEST(UserOverlayPlace, TakesSizesOnAGridOf1080Lines) {
    EXPECT_EQ(toPixels(40, overlayAt("top"), upright), 26);  // 26.67
    EXPECT_EQ(toPixels(40, overlayAt("0,0"), upright), 26);
    EXPECT_EQ(toPixels(40, overlayAt("top"), onItsSide), 47);  // 47.4
    EXPECT_EQ(toPixels(40, overlayAt("0,0"), onItsSide), 26);  // 1920 lines
    EXPECT_EQ(toPixels(40, overlayAt("0,0"), {3, 1, 1280, 720, 180}), 26);
    EXPECT_EQ(toPixels(40, overlayAt("0,0"), {4, 1, 1280, 720, 270}), 26);
}

TEST(UserOverlayPlace, TakesSizesInPixelsWhereTheyAreNotScalable) {
    EXPECT_EQ(toPixels(40, overlayAt("top", false), upright), 40);
    EXPECT_EQ(toPixels(40, overlayAt("0,0", false), onItsSide), 40);
}

TEST(UserOverlayPlace, CopesWithAnySize) {
    EXPECT_EQ(toPixels(2147483647, overlayAt("top"), upright), 1431655764);
    EXPECT_EQ(toPixels(2147483647, overlayAt("top"), onItsSide), 2147483647);
    EXPECT_EQ(toPixels(-5, overlayAt("top"), upright), 0);
}
