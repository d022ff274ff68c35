#include "geometry/point.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

TEST(Point, IsTwoInterleavedShorts) {
    const Point points[] = {{1, 2}, {3, 4}};
    const short* xy = &points[0].x;
    EXPECT_EQ(4U, sizeof(Point));
    EXPECT_EQ(2, xy[1]);
    EXPECT_EQ(3, xy[2]);
}

TEST(Point, IsOrderedByYThenX) {
    const std::less<Point> less;
    EXPECT_TRUE(less({5, 1}, {0, 2}));
    EXPECT_FALSE(less({0, 2}, {5, 1}));
    EXPECT_TRUE(less({0, 1}, {1, 1}));
    EXPECT_FALSE(less({1, 1}, {1, 1}));
    const std::set<Point> points{{0, 2}, {5, 1}, {0, 2}};
    EXPECT_EQ((Point{5, 1}), *points.begin());
    EXPECT_EQ(2U, points.size());
}

TEST(Point, SquareDistanceIsTakenIn32Bits) {
    EXPECT_EQ(25, (Point{1, 1}.squareDistance({4, 5})));
    EXPECT_EQ(25, (Point{4, 5}.squareDistance({1, 1})));
    EXPECT_EQ(2 * 8192 * 8192, (Point{-4096, -4096}.squareDistance({4096, 4096})));
    // 2 * 65535 * 65535 wraps.
    EXPECT_EQ(-262142, (Point{-32768, -32768}.squareDistance({32767, 32767})));
}

TEST(Point, ToStringNamesBothCoordinates) {
    EXPECT_EQ("{x: 1, y: -2}", (Point{1, -2}.toString()));
}
