#include "filters/view_share.h"

TEST(PercentOfView, SpansTheView) {
    EXPECT_EQ(utils::percentOfViewToSceneUnits(0), 0);
    EXPECT_EQ(utils::percentOfViewToSceneUnits(50), 4096);
    EXPECT_EQ(utils::percentOfViewToSceneUnits(100), 8192);
}

TEST(PercentOfView, RoundsHalfAwayFromZero) {
    EXPECT_EQ(utils::percentOfViewToSceneUnits(1), 82);    // 81.92
    EXPECT_EQ(utils::percentOfViewToSceneUnits(3), 246);   // 245.76
    EXPECT_EQ(utils::percentOfViewToSceneUnits(4), 328);   // 327.68
    EXPECT_EQ(utils::percentOfViewToSceneUnits(10), 819);  // 819.2
    EXPECT_EQ(utils::percentOfViewToSceneUnits(-1), -82);
    EXPECT_EQ(utils::percentOfViewToSceneUnits(-10), -819);
}
