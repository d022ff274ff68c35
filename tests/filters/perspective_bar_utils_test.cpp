#include "filters/perspective_bar_utils.h"

#include "app/status.h"
#include "filters/perspective_bar.h"

namespace {

constexpr const char* tooFew = "There must be at least two perspective bars";
constexpr const char* invalid = "One or more of the perspective bars have invalid values";

// A bar at a coordinate with a scale in thousandths.
PerspectiveBar bar(int bottom, int milliScale) {
    return PerspectiveBar(bottom, bottom + milliScale, 1000);
}

// The refusal's text, empty for bars that are in order.
std::string verdict(const std::vector<PerspectiveBar>& bars, int rotation) {
    try {
        perspectiveBarUtils::validatePerspectiveBars(bars, rotation);
    } catch (const StatusException& refusal) {
        EXPECT_EQ(refusal.status, StatusConflict);
        return refusal.what();
    }
    return "";
}

const PerspectiveBar nearBar = bar(-1000, 2000);
const PerspectiveBar farBar = bar(1000, 1000);

}  // namespace

TEST(PerspectiveBars, MustBeTwoAtLeast) {
    EXPECT_EQ(verdict({}, 0), tooFew);
    EXPECT_EQ(verdict({bar(0, 1000)}, 0), tooFew);
    EXPECT_EQ(verdict({bar(0, 1000)}, 90), tooFew);
}

TEST(PerspectiveBars, AreSmallerHigherUpInEitherOrder) {
    for (const int rotation : {0, 270, 45}) {
        EXPECT_EQ(verdict({nearBar, farBar}, rotation), "") << rotation;
        EXPECT_EQ(verdict({farBar, nearBar}, rotation), "") << rotation;
        EXPECT_EQ(verdict({bar(-1000, 1000), bar(1000, 2000)}, rotation), invalid) << rotation;
        EXPECT_EQ(verdict({bar(1000, 2000), bar(-1000, 1000)}, rotation), invalid) << rotation;
    }
}

TEST(PerspectiveBars, AreTheOtherWayRoundAtRotations90And180) {
    for (const int rotation : {90, 180}) {
        EXPECT_EQ(verdict({bar(-1000, 1000), bar(1000, 2000)}, rotation), "") << rotation;
        EXPECT_EQ(verdict({bar(1000, 2000), bar(-1000, 1000)}, rotation), "") << rotation;
        EXPECT_EQ(verdict({nearBar, farBar}, rotation), invalid) << rotation;
        EXPECT_EQ(verdict({farBar, nearBar}, rotation), invalid) << rotation;
    }
}

TEST(PerspectiveBars, MustAgreeAtOnePlace) {
    EXPECT_EQ(verdict({bar(0, 1000), bar(0, 1000)}, 0), "");
    EXPECT_EQ(verdict({bar(0, 1000), bar(0, 1001)}, 0), invalid);
    EXPECT_EQ(verdict({bar(0, 1000), bar(0, 1000)}, 90), "");
    EXPECT_EQ(verdict({bar(0, 1000), bar(0, 1001)}, 90), invalid);
}

TEST(PerspectiveBars, MustDifferAtDifferentPlaces) {
    EXPECT_EQ(verdict({bar(0, 1000), bar(1, 1000)}, 0), invalid);
    EXPECT_EQ(verdict({bar(0, 1000), bar(1, 1000)}, 90), invalid);
    EXPECT_EQ(verdict({bar(0, 1000), bar(1, 999)}, 0), "");
}

TEST(PerspectiveBars, AreEqualBelowAHundredThousandth) {
    // Scales of 1 and 1 + 1 / 131072, and of 1 and 1 + 1 / 65536: 7.6 and 15.3 millionths apart.
    const PerspectiveBar one(0, 131072, 131072);
    EXPECT_EQ(verdict({one, PerspectiveBar(0, 131073, 131072)}, 0), "");
    EXPECT_EQ(verdict({one, PerspectiveBar(0, 131074, 131072)}, 0), invalid);
}

TEST(PerspectiveBars, AreComparedPairByPair) {
    EXPECT_EQ(verdict({nearBar, farBar, bar(0, 1500)}, 0), "");
    EXPECT_EQ(verdict({nearBar, farBar, bar(0, 2500)}, 0), invalid);
    EXPECT_EQ(verdict({nearBar, farBar, bar(0, 1500), bar(0, 1400)}, 0), invalid);
}
