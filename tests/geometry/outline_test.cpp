#include "geometry/outline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "geometry/polygon.h"

using Outline::Box;
using Outline::Where;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace {

using Points = std::vector<Point>;

const Points kSquare{{0, 0}, {0, 100}, {100, 100}, {100, 0}};
const Points kNotched{{0, 0},   {0, 100},  {40, 100},  {40, 20},
                      {60, 20}, {60, 100}, {100, 100}, {100, 0}};
const Points kBowTie{{0, 0}, {100, 100}, {100, 0}, {0, 100}};

class RandomPoints {
public:
    explicit RandomPoints(int range) : coordinate(-range, range) {}
    Point point() {
        return {static_cast<std::int16_t>(coordinate(random)),
                static_cast<std::int16_t>(coordinate(random))};
    }
    Points shape() {
        Points result(std::uniform_int_distribution<std::size_t>(3, 9)(random));
        for (Point& each : result) {
            each = point();
        }
        return result;
    }

private:
    std::mt19937 random{77};
    std::uniform_int_distribution<int> coordinate;
};

Polygon polygonOf(const Points& points) {
    return Polygon(&points[0].x, static_cast<int>(points.size()));
}

}  // namespace

namespace Outline {

bool operator==(const Box& a, const Box& b) {
    return a.minX == b.minX && a.minY == b.minY && a.maxX == b.maxX && a.maxY == b.maxY;
}

}  // namespace Outline

TEST(Outline, BoxHoldsAllPointsWhateverTheirNumber) {
    RandomPoints random(4096);
    for (std::size_t count = 1; count < 20; ++count) {
        for (int repeat = 0; repeat < 20; ++repeat) {
            Points points(count);
            Box expected{4096, 4096, -4096, -4096};
            for (Point& each : points) {
                each = random.point();
                expected = {std::min(expected.minX, each.x), std::min(expected.minY, each.y),
                            std::max(expected.maxX, each.x), std::max(expected.maxY, each.y)};
            }
            ASSERT_EQ(expected, Outline::boxOf(points)) << count;
        }
    }
}

TEST(Outline, BoxesMeetWithinTheRoom) {
    const Box box{0, 0, 10, 10};
    EXPECT_TRUE(Outline::meet(box, {10, 10, 20, 20}));
    EXPECT_FALSE(Outline::meet(box, {11, 0, 20, 10}));
    EXPECT_TRUE(Outline::meet(box, {12, 0, 20, 10}, 2));
    EXPECT_FALSE(Outline::meet(box, {13, 0, 20, 10}, 2));
    EXPECT_FALSE(Outline::meet(box, {0, -9, 10, -3}, 2));
}

TEST(Outline, DeepInsideLeavesMoreThanTheRoom) {
    const Box box{0, 0, 10, 10};
    EXPECT_TRUE(Outline::isDeepInside({3, 3, 7, 7}, box, 2));
    EXPECT_FALSE(Outline::isDeepInside({2, 3, 7, 7}, box, 2));
    EXPECT_FALSE(Outline::isDeepInside({3, 3, 7, 8}, box, 2));
    EXPECT_FALSE(Outline::isDeepInside(box, box, 0));
}

TEST(Outline, ThePictureEndsAt4096) {
    EXPECT_TRUE((Box{-4096, -4096, 4096, 4096}.isInPicture()));
    EXPECT_FALSE((Box{-4097, 0, 0, 0}.isInPicture()));
    EXPECT_FALSE((Box{0, 0, 0, 4097}.isInPicture()));
}

TEST(Outline, LocateTellsInsideFromOutsideAwayFromTheEdges) {
    EXPECT_EQ(Where::kInside, Outline::locate({50, 50}, kSquare, 49));
    EXPECT_EQ(Where::kNear, Outline::locate({50, 50}, kSquare, 50));
    EXPECT_EQ(Where::kOutside, Outline::locate({103, 103}, kSquare, 2));
    EXPECT_EQ(Where::kNear, Outline::locate({102, 102}, kSquare, 2));
    EXPECT_EQ(Where::kOutside, Outline::locate({50, 60}, kNotched, 9));
    EXPECT_EQ(Where::kNear, Outline::locate({50, 60}, kNotched, 10));
    EXPECT_EQ(Where::kNear, Outline::locate({100, 30}, kSquare, 0));
}

TEST(Outline, LocateFollowsTheNonZeroRule) {
    EXPECT_EQ(Where::kInside, Outline::locate({90, 50}, kBowTie, 5));
    EXPECT_EQ(Where::kOutside, Outline::locate({50, 90}, kBowTie, 5));
    const Points twice{{0, 0}, {0, 9}, {9, 9}, {9, 0}, {0, 0}, {0, 9}, {9, 9}, {9, 0}};
    EXPECT_EQ(Where::kInside, Outline::locate({5, 5}, twice, 1));
}

// The claim that proofs rest on: what is said with room holds for every outline whose vertices have
// moved by up to that.
TEST(Outline, LocateHoldsForAllOutlinesWithinTheRoom) {
    RandomPoints random(60);
    RandomPoints moves(4);
    int asked = 0;
    for (int i = 0; i < 20000; ++i) {
        const Points outline = random.shape();
        const Point point = random.point();
        const Where where = Outline::locate(point, outline, 4);
        if (where == Where::kNear) {
            continue;
        }
        Points moved = outline;
        for (Point& each : moved) {
            const Point by = moves.point();
            each = {static_cast<std::int16_t>(each.x + by.x),
                    static_cast<std::int16_t>(each.y + by.y)};
        }
        ASSERT_EQ(where, Outline::locate(point, moved, 0)) << i;
        ++asked;
    }
    EXPECT_GT(asked, 5000);
}

TEST(Outline, AreApartHoldsForAllOutlinesWithinTheRoom) {
    RandomPoints random(60);
    RandomPoints moves(4);
    int apart = 0;
    for (int i = 0; i < 50000; ++i) {
        const Points a = random.shape();
        Points b = random.shape();
        if (!Outline::areApart(a, b, 4)) {
            continue;
        }
        for (Point& each : b) {
            const Point by = moves.point();
            each = {static_cast<std::int16_t>(each.x + by.x),
                    static_cast<std::int16_t>(each.y + by.y)};
        }
        ASSERT_TRUE(Outline::areApart(a, b, 0)) << i;
        ++apart;
    }
    EXPECT_GT(apart, 100);
    EXPECT_FALSE(Outline::areApart(kSquare, {{100, 100}, {200, 200}, {200, 100}}, 0));
}

TEST(Outline, PartedPolygonsDoNotMeet) {
    EXPECT_TRUE(Outline::isParted(kSquare, {{101, 0}, {200, 0}, {200, 100}}) ||
                Outline::isParted(Outline::convexHull(kSquare), {{101, 0}, {200, 0}, {200, 100}}));
    EXPECT_FALSE(Outline::isParted(Outline::convexHull(kSquare), {{100, 0}, {200, 0}, {200, 100}}));
    RandomPoints random(40);
    int parted = 0;
    for (int i = 0; i < 20000; ++i) {
        const Points a = random.shape();
        const Points b = random.shape();
        if (Outline::isParted(Outline::convexHull(a), b)) {
            ASSERT_FALSE(polygonOf(a).doesIntersect(polygonOf(b))) << i;
            ++parted;
        }
    }
    EXPECT_GT(parted, 100);
}

TEST(Outline, CommonCornersMeetExactlyWherePolygonsDo) {
    RandomPoints random(12);
    int meetings = 0;
    for (int i = 0; i < 20000; ++i) {
        const Points a = random.shape();
        const Points b = random.shape();
        const Box boxA = Outline::boxOf(a);
        const Box boxB = Outline::boxOf(b);
        if (!Outline::meet(boxA, boxB)) {
            continue;
        }
        const bool meet = polygonOf(a).doesIntersect(polygonOf(b));
        ASSERT_EQ(meet, Outline::findCommonCorners(a, b, Outline::common(boxA, boxB)).meet) << i;
        meetings += meet ? 1 : 0;
    }
    EXPECT_GT(meetings, 1000);
    EXPECT_LT(meetings, 19900);
}

TEST(Outline, CommonCornersAreVerticesInsideAndCrossings) {
    const Points other{{50, 50}, {50, 150}, {151, 150}, {151, 50}};
    const auto corners = Outline::findCommonCorners(kSquare, other, {50, 50, 100, 100});
    const auto list = corners.list();
    EXPECT_THAT(
        std::vector<Point>(list.begin(), list.end()),
        UnorderedElementsAre(Point{50, 50}, Point{100, 100}, Point{50, 100}, Point{100, 50}));
    EXPECT_TRUE(corners.areAll);
    EXPECT_EQ((Point{75, 75}), corners.mean());
}

TEST(Outline, CommonCornersTellWhenTheyAreNotAll) {
    // Along an edge.
    EXPECT_FALSE(
        Outline::findCommonCorners(kSquare, {{0, 20}, {0, 50}, {30, 30}}, {0, 20, 30, 50}).areAll);
    Points zigzag;
    for (std::int16_t i = 0; i < 40; ++i) {
        zigzag.push_back(
            {static_cast<std::int16_t>(10 + i), static_cast<std::int16_t>(i % 2 * 90 + 5)});
    }
    const auto corners = Outline::findCommonCorners(kSquare, zigzag, {10, 5, 49, 95});
    EXPECT_FALSE(corners.areAll);
    EXPECT_EQ(corners.points.size(), corners.count);
}

TEST(Outline, AreDistinctLooksInBothLists) {
    EXPECT_TRUE(Outline::areDistinct(kSquare, {{1, 1}, {2, 2}}));
    EXPECT_FALSE(Outline::areDistinct(kSquare, {{1, 1}, {0, 100}}));
    EXPECT_FALSE(Outline::areDistinct({{5, 5}, {6, 6}, {5, 5}}, kSquare));
    EXPECT_TRUE(Outline::areDistinct(kSquare, {{1, 1}, {1, 1}}));
}

TEST(Outline, SimpleOutlinesNeitherTouchThemselvesNorTurnBack) {
    EXPECT_TRUE(Outline::isSimple(kSquare));
    EXPECT_TRUE(Outline::isSimple(kNotched));
    EXPECT_TRUE(Outline::isSimple({{0, 0}, {50, 0}, {100, 0}, {50, 80}}));  // straight on
    EXPECT_FALSE(Outline::isSimple(kBowTie));
    EXPECT_FALSE(Outline::isSimple({{0, 0}, {100, 0}, {50, 0}, {50, 80}}));  // a spike
    EXPECT_FALSE(Outline::isSimple({{0, 0}, {0, 0}, {100, 0}, {50, 80}}));   // a point twice
    EXPECT_FALSE(Outline::isSimple({{0, 0}, {100, 0}, {50, 50}, {100, 100}, {0, 100}, {50, 50}}));
    EXPECT_FALSE(Outline::isSimple({{0, 0}, {5, 5}, {10, 10}}));
    EXPECT_FALSE(Outline::isSimple({{0, 0}, {5, 5}}));
}

TEST(Outline, ConvexHullIsTheCornersRound) {
    EXPECT_THAT(Outline::convexHull(kNotched),
                UnorderedElementsAre(Point{0, 0}, Point{0, 100}, Point{100, 100}, Point{100, 0}));
    EXPECT_THAT(Outline::convexHull({{0, 0}, {5, 5}, {10, 10}, {0, 0}}),
                UnorderedElementsAre(Point{0, 0}, Point{10, 10}));
    EXPECT_THAT(Outline::convexHull({{3, 3}, {3, 3}, {3, 3}}), ElementsAre(Point{3, 3}));
    RandomPoints random(30);
    for (int i = 0; i < 2000; ++i) {
        const Points shape = random.shape();
        const Points hull = Outline::convexHull(shape);
        for (const Point& each : shape) {
            ASSERT_NE(Where::kOutside, Outline::locate(each, hull, 0)) << i;
        }
        ASSERT_TRUE(hull.size() < 3 || Outline::isConvex(hull)) << i;
    }
}

TEST(Outline, ConvexMeansSimpleAndWithoutNotch) {
    EXPECT_TRUE(Outline::isConvex(kSquare));
    EXPECT_TRUE(Outline::isConvex({kSquare.rbegin(), kSquare.rend()}));
    EXPECT_TRUE(Outline::isConvex({{0, 0}, {50, 0}, {100, 0}, {50, 80}}));
    EXPECT_FALSE(Outline::isConvex(kNotched));
    EXPECT_FALSE(Outline::isConvex(kBowTie));
    // All turns are of one kind, but it goes round twice.
    EXPECT_FALSE(Outline::isConvex({{0, 50}, {80, -40}, {-80, 10}, {80, 10}, {-80, -40}}));
}
