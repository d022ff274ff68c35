#include "filters/perspective.h"

#include <limits>

#include "filters/perspective_bar.h"

namespace {

constexpr int greatest = std::numeric_limits<int>::max();
constexpr int least = std::numeric_limits<int>::min();

// A bar at a coordinate with a whole scale.
PerspectiveBar bar(int bottom, int scale) {
    return PerspectiveBar(bottom, bottom + 100 * scale, 100);
}

}  // namespace

TEST(Perspective, LiesOnTwoBars) {
    const Perspective perspective({bar(-1000, 4), bar(1000, 2)});
    EXPECT_EQ(perspective.calculateRealWorldSize(-1000, 400), 100);
    EXPECT_EQ(perspective.calculateRealWorldSize(1000, 400), 200);
    EXPECT_EQ(perspective.calculateRealWorldSize(0, 300), 100);
    EXPECT_EQ(perspective.calculateRealWorldSize(2000, 300), 300);
}

TEST(Perspective, FitsTheLeastSquaresLineThroughMore) {
    // Slope -1/1000 through the mean (0, 3); the middle bar is off the line by no weight.
    const Perspective perspective({bar(-1000, 4), bar(0, 3), bar(1000, 2)});
    EXPECT_EQ(perspective.calculateRealWorldSize(0, 300), 100);
    const Perspective bent({bar(-1000, 4), bar(0, 6), bar(1000, 2)});
    EXPECT_EQ(bent.calculateRealWorldSize(0, 400), 100);
    EXPECT_EQ(bent.calculateRealWorldSize(1000, 300), 100);
}

TEST(Perspective, RoundsToTheNearest) {
    const Perspective perspective({bar(-1000, 4), bar(1000, 2)});
    EXPECT_EQ(perspective.calculateRealWorldSize(1000, 5), 3);   // 2.5
    EXPECT_EQ(perspective.calculateRealWorldSize(-1000, 5), 1);  // 1.25
    EXPECT_EQ(perspective.calculateRealWorldSize(1000, 0), 0);
}

TEST(Perspective, FitsInSinglePrecisionWithFusedSumsAndNothingElseFused) {
    // Plain sums, or a fused scale at the foot, would give 86 and 1013 here.
    const Perspective first({PerspectiveBar(691, 1637, 117), PerspectiveBar(-3157, -2412, 166),
                             PerspectiveBar(835, 1622, 107)});
    EXPECT_EQ(first.calculateRealWorldSize(2000, 746), 85);
    const Perspective second({PerspectiveBar(337, 506, 170), PerspectiveBar(-1955, -1010, 176),
                              PerspectiveBar(3374, 3605, 172)});
    EXPECT_EQ(second.calculateRealWorldSize(1000, 2303), 1012);
    // A fused offset would give 2161.
    const Perspective third({PerspectiveBar(-2574, -1299, 111), PerspectiveBar(3656, 4065, 199),
                             PerspectiveBar(1392, 1760, 120)});
    EXPECT_EQ(third.calculateRealWorldSize(3611, 2434), 2162);
}

TEST(Perspective, GivesSizesThatMeanNothingWhereItsScaleIsNotPositive) {
    // The scale is 0 at 3072 and -1 at 4096, without rounding.
    const Perspective perspective({bar(-1024, 4), bar(1024, 2)});
    EXPECT_EQ(perspective.calculateRealWorldSize(4096, 100), -99);
    EXPECT_EQ(perspective.calculateRealWorldSize(3072, 100), greatest);
    EXPECT_EQ(perspective.calculateRealWorldSize(3072, -100), least);
    EXPECT_EQ(perspective.calculateRealWorldSize(3072, 0), 0);
}

TEST(Perspective, WithoutBarsHasNoScale) {
    const Perspective perspective({});
    EXPECT_EQ(perspective.calculateRealWorldSize(0, 1), greatest);
}

TEST(Perspective, TakesEverythingForLargeWhenAllBarsAreAtOnePlace) {
    const Perspective perspective({bar(-1000, 4), bar(-1000, 4)});
    EXPECT_EQ(perspective.calculateRealWorldSize(0, 0), greatest);
    EXPECT_EQ(perspective.calculateRealWorldSize(-1000, 1), greatest);
}
