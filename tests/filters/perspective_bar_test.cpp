#include "filters/perspective_bar.h"

TEST(PerspectiveBar, HasAScaleInSinglePrecision) {
    const PerspectiveBar bar(-1000, -700, 170);
    EXPECT_EQ(bar.bottom, -1000);
    EXPECT_EQ(bar.top, -700);
    EXPECT_EQ(bar.height, 170);
    EXPECT_EQ(bar.scale, 300.0F / 170.0F);
}

TEST(PerspectiveBar, HasAScaleWhicheverEndIsUp) {
    EXPECT_EQ(PerspectiveBar(100, -200, 100).scale, 3.0F);
    EXPECT_EQ(PerspectiveBar(-200, 100, 100).scale, 3.0F);
}

TEST(PerspectiveBar, StandsAboveByTheCoordinateThatIsUpright) {
    const PerspectiveBar low(-1000, -700, 170);
    const PerspectiveBar high(1000, 1100, 170);
    for (const int rotation : {0, 270, 45}) {
        EXPECT_TRUE(high.isAbove(low, rotation)) << rotation;
        EXPECT_FALSE(low.isAbove(high, rotation)) << rotation;
        EXPECT_FALSE(low.isAbove(low, rotation)) << rotation;
    }
    for (const int rotation : {90, 180}) {
        EXPECT_FALSE(high.isAbove(low, rotation)) << rotation;
        EXPECT_TRUE(low.isAbove(high, rotation)) << rotation;
        EXPECT_FALSE(low.isAbove(low, rotation)) << rotation;
    }
}
