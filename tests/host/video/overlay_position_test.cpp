#include "video/overlay_position.h"

#include <gtest/gtest.h>

namespace {

TEST(OverlayPosition, ReadsAPairOfNumbers) {
    const std::optional<OverlayPosition> position = OverlayPosition::parse("-1.0000,0.5");
    ASSERT_TRUE(position);
    EXPECT_EQ(position->x, -1.0);
    EXPECT_EQ(position->y, 0.5);
    EXPECT_TRUE(OverlayPosition::parse("1,-1"));
    EXPECT_TRUE(OverlayPosition::parse("0,.25"));
}

TEST(OverlayPosition, TakesNothingElse) {
    for (const char* text :
         {"", ",", "0", "0,", ",0", "0,0,0", "0 ,0", "0, 0", "1.01,0", "0,-1.0001", "nan,0",
          "inf,0", "0,1e-1", "0x1,0", "0x0", "+1,0", "--1,0", "0,0.00000000000000001", "top"}) {
        EXPECT_FALSE(OverlayPosition::parse(text)) << text;
    }
}

TEST(OverlayPosition, KnowsTheNames) {
    for (const char* name : {"top", "topleft", "topright", "bottom", "bottomleft", "bottomright"}) {
        EXPECT_TRUE(OverlayPosition::isName(name));
    }
    for (const char* name : {"", "Top", "center", "top "}) {
        EXPECT_FALSE(OverlayPosition::isName(name));
    }
}

}  // namespace
