#include "app/truncate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

template <typename T>
class Truncate : public testing::Test {};

using Types = testing::Types<float, double>;
TYPED_TEST_SUITE(Truncate, Types);

TYPED_TEST(Truncate, CutsTowardsZero) {
    EXPECT_EQ(2, utils::truncateToInt(TypeParam(2.75)));
    EXPECT_EQ(-2, utils::truncateToInt(TypeParam(-2.75)));
    EXPECT_EQ(0, utils::truncateToInt(TypeParam(-0.75)));
}

TYPED_TEST(Truncate, KeepsToTheRangeOfAnInt) {
    constexpr TypeParam infinity = std::numeric_limits<TypeParam>::infinity();
    constexpr int greatest = std::numeric_limits<int>::max();
    constexpr int least = std::numeric_limits<int>::min();
    for (const TypeParam value : {TypeParam(2147483648.0), TypeParam(1e30), infinity}) {
        EXPECT_EQ(greatest, utils::truncateToInt(value));
        EXPECT_EQ(least, utils::truncateToInt(-value));
    }
    EXPECT_EQ(2147483520, utils::truncateToInt(TypeParam(2147483520)));
    EXPECT_EQ(0, utils::truncateToInt(std::numeric_limits<TypeParam>::quiet_NaN()));
}

TEST(TruncateDouble, ReachesTheEndsOfTheRange) {
    EXPECT_EQ(2147483647, utils::truncateToInt(2147483647.75));
    EXPECT_EQ(-2147483647 - 1, utils::truncateToInt(-2147483648.75));
}

}  // namespace
