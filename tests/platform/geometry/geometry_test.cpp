#include "geometry/geometry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "geometry_shapes.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

constexpr std::int16_t kMin = std::numeric_limits<std::int16_t>::min();
constexpr std::int16_t kMax = std::numeric_limits<std::int16_t>::max();

const Shape kSquare{{0, 0}, {0, 10}, {10, 10}, {10, 0}};
const Shape kWorld{{kMin, kMin}, {kMin, kMax}, {kMax, kMax}, {kMax, kMin}};
// Two loops that touch in the middle: the signed areas cancel.
const Shape kBowTie{{0, 0}, {10, 10}, {10, 0}, {0, 10}};
const Shape kArrow{{0, 0}, {10, 0}, {10, 10}, {5, 2}, {0, 10}};

Shape moved(Shape shape, int dx, int dy) {
    for (gm_point& point : shape) {
        point = {static_cast<std::int16_t>(point.x + dx), static_cast<std::int16_t>(point.y + dy)};
    }
    return shape;
}

}  // namespace

TEST(GeometryIntersectPp, TellsOverlapFromDistance) {
    EXPECT_TRUE(polygonsMeet(kSquare, moved(kSquare, 5, 5)));
    EXPECT_FALSE(polygonsMeet(kSquare, moved(kSquare, 11, 0)));
    EXPECT_FALSE(polygonsMeet(kSquare, moved(kSquare, 0, -11)));
}

TEST(GeometryIntersectPp, CountsTouching) {
    EXPECT_TRUE(polygonsMeet(kSquare, moved(kSquare, 10, 0)));   // along an edge
    EXPECT_TRUE(polygonsMeet(kSquare, moved(kSquare, 10, 10)));  // in a corner
    EXPECT_TRUE(polygonsMeet(kSquare, {{10, 5}, {20, 0}, {20, 10}}));
}

TEST(GeometryIntersectPp, CountsOneInsideTheOther) {
    const Shape inner{{4, 4}, {4, 6}, {6, 6}};
    EXPECT_TRUE(polygonsMeet(kSquare, inner));
    EXPECT_TRUE(polygonsMeet(inner, kSquare));
}

TEST(GeometryIntersectPp, LooksBeyondTheBoxes) {
    // In the notch of the arrow.
    EXPECT_FALSE(polygonsMeet(kArrow, {{4, 9}, {6, 9}, {5, 8}}));
}

TEST(GeometryIntersectPp, CrossingEdgesNeedNoVertexInside) {
    EXPECT_TRUE(
        polygonsMeet({{0, 4}, {0, 6}, {10, 6}, {10, 4}}, {{4, 0}, {6, 0}, {6, 10}, {4, 10}}));
}

TEST(GeometryIntersectPp, TakesPointsAndSegmentsAsPolygons) {
    EXPECT_TRUE(polygonsMeet(kSquare, {{5, 5}}));
    EXPECT_TRUE(polygonsMeet({{10, 10}}, kSquare));
    EXPECT_FALSE(polygonsMeet(kSquare, {{11, 5}}));
    EXPECT_TRUE(polygonsMeet(kSquare, {{-5, 5}, {15, 5}}));
    EXPECT_FALSE(polygonsMeet(kSquare, {{-5, 8}, {5, 18}}));
    EXPECT_TRUE(polygonsMeet({{3, 3}}, {{3, 3}}));
    EXPECT_TRUE(polygonsMeet({{3, 3}}, {{0, 0}, {6, 6}}));
}

TEST(GeometryIntersectPp, IsExactOverTheWholeRange) {
    // The diagonal passes below (1, 0) by a hair.
    const Shape triangle{{kMin, kMin}, {kMax, kMax}, {kMin, kMax}};
    EXPECT_TRUE(polygonsMeet(triangle, {{7, 7}}));
    EXPECT_FALSE(polygonsMeet(triangle, {{8, 7}}));
    EXPECT_TRUE(polygonsMeet(kWorld, kSquare));
    EXPECT_TRUE(polygonsMeet(kWorld, kWorld));
}

TEST(GeometryIntersectPs, MeetsTheOutlineAndTheInside) {
    EXPECT_TRUE(polygonMeetsLine(kSquare, {{-5, 5}, {15, 5}}));
    EXPECT_TRUE(polygonMeetsLine(kSquare, {{4, 4}, {6, 6}}));
    EXPECT_TRUE(polygonMeetsLine(kSquare, {{-5, 10}, {5, 10}}));
    EXPECT_TRUE(polygonMeetsLine(kSquare, {{20, 20}, {10, 10}}));
    EXPECT_FALSE(polygonMeetsLine(kSquare, {{-5, 11}, {15, 11}}));
}

TEST(GeometryIntersectPs, DoesNotCloseTheLine) {
    // Its missing third side would cross the square.
    EXPECT_FALSE(polygonMeetsLine(kSquare, {{-5, 5}, {-5, 20}, {20, 20}, {20, 5}}));
}

TEST(GeometryIntersectSs, TellsCrossingTouchingAndDistance) {
    EXPECT_TRUE(linesMeet({{0, 0}, {10, 10}}, {{0, 10}, {10, 0}}));
    EXPECT_TRUE(linesMeet({{0, 0}, {10, 10}}, {{10, 10}, {20, 0}}));
    EXPECT_TRUE(linesMeet({{0, 0}, {10, 10}}, {{5, 5}, {20, 20}}));  // on one line
    EXPECT_FALSE(linesMeet({{0, 0}, {10, 10}}, {{11, 11}, {20, 20}}));
    EXPECT_FALSE(linesMeet({{0, 0}, {10, 10}}, {{0, 1}, {10, 11}}));  // side by side
    EXPECT_TRUE(linesMeet({{0, 0}, {0, 9}, {9, 9}}, {{5, 12}, {5, 8}}));
}

TEST(GeometryIntersectSs, DoesNotCloseTheLines) {
    EXPECT_FALSE(linesMeet({{0, 0}, {0, 10}, {10, 10}, {10, 0}}, {{5, -5}, {5, 5}}));
}

TEST(GeometryInsideP, CountsTheOutline) {
    EXPECT_TRUE(isInside({5, 5}, kSquare));
    EXPECT_TRUE(isInside({0, 0}, kSquare));
    EXPECT_TRUE(isInside({10, 3}, kSquare));
    EXPECT_TRUE(isInside({3, 10}, kSquare));
    EXPECT_FALSE(isInside({11, 5}, kSquare));
    EXPECT_FALSE(isInside({-1, 0}, kSquare));
    EXPECT_FALSE(isInside({5, 9}, kArrow));
}

TEST(GeometryInsideP, FollowsTheNonZeroRule) {
    const Shape twice{{0, 0}, {0, 10}, {10, 10}, {10, 0}, {0, 0}, {0, 10}, {10, 10}, {10, 0}};
    EXPECT_TRUE(isInside({5, 5}, twice));
    EXPECT_TRUE(isInside({9, 5}, kBowTie));
    EXPECT_FALSE(isInside({5, 9}, kBowTie));
}

TEST(GeometryArea, IsTheAbsoluteShoelaceValueRoundedDown) {
    const auto area = [](const Shape& shape) {
        std::int64_t result = -77;
        EXPECT_EQ(0, gm_area_p(&result, shape.data(), countOf(shape)));
        return result;
    };
    EXPECT_EQ(100, area(kSquare));
    EXPECT_EQ(100, area({kSquare.rbegin(), kSquare.rend()}));
    EXPECT_EQ(0, area({{0, 0}, {0, 1}, {1, 0}}));  // a half
    EXPECT_EQ(1, area({{0, 0}, {0, 3}, {1, 0}}));  // one and a half
    EXPECT_EQ(0, area(kBowTie));
    EXPECT_EQ(0, area({{0, 0}, {5, 5}, {10, 10}}));
    EXPECT_EQ(std::int64_t{65535} * 65535, area(kWorld));
}

TEST(GeometryCentroid, RoundsToTheNearestHalvesAwayFromZero) {
    const auto centroid = [](const Shape& shape) {
        gm_point result{-77, -77};
        EXPECT_EQ(0, gm_centroid_p(&result, shape.data(), countOf(shape)));
        return result;
    };
    EXPECT_EQ((gm_point{5, 5}), centroid(kSquare));
    EXPECT_EQ((gm_point{5, 5}), centroid({kSquare.rbegin(), kSquare.rend()}));
    EXPECT_EQ((gm_point{1, 1}), centroid({{0, 0}, {0, 1}, {1, 1}, {1, 0}}));        // 0.5
    EXPECT_EQ((gm_point{-1, -1}), centroid({{0, 0}, {0, -1}, {-1, -1}, {-1, 0}}));  // -0.5
    EXPECT_EQ((gm_point{0, 0}), centroid({{0, 0}, {0, 1}, {1, 0}}));                // a third
    EXPECT_EQ((gm_point{-1, -1}), centroid(kWorld));                                // -0.5
}

TEST(GeometryCentroid, FailsWithoutSignedAreaAndStoresNothing) {
    gm_point result{-77, -77};
    EXPECT_EQ(-1, gm_centroid_p(&result, kBowTie.data(), countOf(kBowTie)));
    const Shape flat{{0, 0}, {5, 5}, {10, 10}};
    EXPECT_EQ(-1, gm_centroid_p(&result, flat.data(), countOf(flat)));
    EXPECT_EQ((gm_point{-77, -77}), result);
}

TEST(GeometryCentroid, FailsWhenTheResultLiesOutsideTheBox) {
    // Two loops of nearly the same area in opposite directions.
    const Shape lopsided{{0, 0}, {100, 100}, {101, 0}, {0, 100}};
    gm_point result{-77, -77};
    EXPECT_EQ(-1, gm_centroid_p(&result, lopsided.data(), countOf(lopsided)));
    EXPECT_EQ((gm_point{-77, -77}), result);
}

TEST(GeometryTransformScale, ScalesAboutTheOriginInFixedPoint) {
    Shape shape{{10, 10}, {-10, 3}, {1, -1}};
    EXPECT_EQ(0, gm_transform_scale(shape.data(), 3, 0x20000, 0x8000));
    EXPECT_THAT(shape, ElementsAre(gm_point{20, 5}, gm_point{-20, 2}, gm_point{2, -1}));
    EXPECT_EQ(0, gm_transform_scale(shape.data(), 3, -0x10000, 0));
    EXPECT_THAT(shape, ElementsAre(gm_point{-20, 0}, gm_point{20, 0}, gm_point{-2, 0}));
}

TEST(GeometryTransformScale, FailsAsAWholeWhenAResultDoesNotFit) {
    Shape shape{{1, 1}, {20000, 1}};
    EXPECT_EQ(-1, gm_transform_scale(shape.data(), 2, 0x20000, 0x20000));
    EXPECT_THAT(shape, ElementsAre(gm_point{1, 1}, gm_point{20000, 1}));
    EXPECT_EQ(-1, gm_transform_scale(shape.data(), 2, std::numeric_limits<int64_t>::min(), 0));
    Shape edge{{-16384, 16383}};
    EXPECT_EQ(0, gm_transform_scale(edge.data(), 1, 0x20000, 0x20000));
    EXPECT_THAT(edge, ElementsAre(gm_point{-32768, 32766}));
}

TEST(GeometryClip, GivesWhatBothHaveInCommon) {
    const auto pieces = clip(kSquare, moved(kSquare, 5, 5), GM_CLIP_INTERSECTION);
    ASSERT_THAT(pieces, SizeIs(1));
    EXPECT_THAT(pieces[0], UnorderedElementsAre(gm_point{5, 5}, gm_point{5, 10}, gm_point{10, 10},
                                                gm_point{10, 5}));
}

TEST(GeometryClip, CutsTheClipPolygonOutOfTheSubject) {
    const auto pieces = clip(kSquare, {{4, -5}, {4, 15}, {6, 15}, {6, -5}}, GM_CLIP_CUT);
    ASSERT_THAT(pieces, SizeIs(2));
    EXPECT_EQ(2 * 80, twiceArea(pieces));
}

TEST(GeometryClip, ReadsBothByTheNonZeroRule) {
    const Shape twice{{0, 0}, {0, 10}, {10, 10}, {10, 0}, {0, 0}, {0, 10}, {10, 10}, {10, 0}};
    EXPECT_EQ(2 * 100, twiceArea(clip(twice, kWorld, GM_CLIP_INTERSECTION)));
    EXPECT_EQ(2 * 50, twiceArea(clip(kBowTie, kWorld, GM_CLIP_INTERSECTION)));
    EXPECT_THAT(clip(kSquare, twice, GM_CLIP_CUT), IsEmpty());
}

TEST(GeometryClip, WorksAcrossTheWholeRange) {
    EXPECT_EQ(2 * 65535LL * 65535, twiceArea(clip(kWorld, kWorld, GM_CLIP_INTERSECTION)));
    EXPECT_EQ(2 * (65535LL * 65535 - 100), twiceArea(clip(kWorld, kSquare, GM_CLIP_CUT)));
}

TEST(GeometryClip, RoundsOnce) {
    // The edges cross at (10/3, 10/3).
    const auto pieces =
        clip({{0, 0}, {5, 0}, {0, 10}}, {{0, 0}, {0, 5}, {10, 0}}, GM_CLIP_INTERSECTION);
    ASSERT_THAT(pieces, SizeIs(1));
    EXPECT_THAT(pieces[0], UnorderedElementsAre(gm_point{0, 0}, gm_point{5, 0}, gm_point{3, 3},
                                                gm_point{0, 5}));
}

TEST(GeometryClip, DropsPiecesThatVanishOnTheGrid) {
    // Only touching, and an overlap of a fifth of a unit.
    EXPECT_THAT(clip(kSquare, moved(kSquare, 10, 0), GM_CLIP_INTERSECTION), IsEmpty());
    EXPECT_THAT(clip({{0, 0}, {100, 0}, {0, 1}}, {{60, 1}, {100, 1}, {100, -1}, {61, 0}},
                     GM_CLIP_INTERSECTION),
                IsEmpty());
}

TEST(GeometryClip, OpensAHoleBySplittingThePiece) {
    const auto pieces = clip(kSquare, {{4, 4}, {4, 6}, {6, 6}, {6, 4}}, GM_CLIP_CUT);
    EXPECT_THAT(pieces, SizeIs(2));
    EXPECT_EQ(2 * 96, twiceArea(pieces));
    for (const Shape& piece : pieces) {
        // Were the hole a piece of its own, its corners would lie inside that.
        EXPECT_TRUE(isInside({4, 4}, piece) || isInside({6, 4}, piece));
        EXPECT_GE(std::abs(twiceArea(piece)), 2 * 40);
    }
    std::size_t around = 0;
    for (const gm_point corner : {gm_point{1, 5}, gm_point{9, 5}, gm_point{5, 1}, gm_point{5, 9}}) {
        around += isInside(corner, pieces[0]) || isInside(corner, pieces[1]) ? 1 : 0;
    }
    EXPECT_EQ(4u, around);
}

TEST(GeometryClip, OpensAHoleNarrowerThanTheGrid) {
    // The hole is at most one unit wide, between two grid lines and across one.
    for (const std::int16_t shift : {0, 1}) {
        const Shape thin{{static_cast<std::int16_t>(50 + shift), 10}, {51, 90}, {52, 10}};
        const auto pieces = clip({{0, 0}, {0, 100}, {100, 100}, {100, 0}}, thin, GM_CLIP_CUT);
        EXPECT_THAT(pieces, SizeIs(2));
        // The cut between two grid lines rounds to one of them.
        EXPECT_NEAR(2 * 10000 - std::abs(twiceArea(thin)), twiceArea(pieces), 2 * 40);
    }
}

TEST(GeometryClip, TakesAHoleThatNoLineGoesThroughForNone) {
    // Winds round everything but a pocket 1/65536 of a unit wide, which lies across grid lines.
    constexpr std::int16_t low = -32768;
    constexpr std::int16_t high = 32767;
    const Shape pocketed{{low, low}, {high, low}, {high, high}, {low, high}, {low, low}, {0, low},
                         {1, 32762}, {1, 32761},  {0, low},     {low, low},  {-11, -6},  {5, -2},
                         {5, high},  {-11, high}, {-11, -6},    {low, low},  {-9, low},  {7, low},
                         {7, -2},    {-9, -6},    {-9, low}};
    const Shape frame{{-32767, -32767}, {32766, -32767}, {32766, 32766}, {-32767, 32766}};
    const auto pieces = clip(pocketed, frame, GM_CLIP_INTERSECTION);
    EXPECT_THAT(pieces, SizeIs(1));
    EXPECT_EQ(2 * 65533LL * 65533, twiceArea(pieces));
}

TEST(GeometryClip, OpensManyHolesAndKeepsIslands) {
    // A frame of two rings, each a piece with a hole, the inner ring within the outer one's hole.
    const Shape outer{{0, 0}, {0, 100}, {100, 100}, {100, 0}};
    // A comb that winds round two windows of the square.
    const Shape windows{{10, 10}, {10, 40}, {40, 40}, {40, 10}, {10, 10},
                        {60, 60}, {60, 90}, {90, 90}, {90, 60}, {60, 60}};
    const auto pieces = clip(outer, windows, GM_CLIP_CUT);
    EXPECT_EQ(2 * (10000 - 1800), twiceArea(pieces));
    for (const Shape& piece : pieces) {
        EXPECT_FALSE(isInside({25, 25}, piece));
        EXPECT_FALSE(isInside({75, 75}, piece));
    }
    // An outline that winds round a ring leaves an island in the ring's hole.
    const Shape ring{{20, 20}, {20, 80}, {80, 80}, {80, 20}, {20, 20},
                     {40, 40}, {60, 40}, {60, 60}, {40, 60}, {40, 40}};
    const auto cut = clip(outer, ring, GM_CLIP_CUT);
    EXPECT_EQ(2 * (10000 - 3600 + 400), twiceArea(cut));
    std::size_t covering = 0;
    for (const Shape& piece : cut) {
        covering += isInside({50, 50}, piece) ? 1 : 0;
    }
    EXPECT_EQ(1u, covering);
}

TEST(GeometryClip, GivesNullArraysWithoutPieces) {
    gm_point** pieces = reinterpret_cast<gm_point**>(1);
    int64_t* lengths = reinterpret_cast<int64_t*>(1);
    int64_t count = 7;
    const Shape far = moved(kSquare, 50, 50);
    EXPECT_EQ(0, gm_clip_pp(&pieces, &lengths, &count, kSquare.data(), 4, far.data(), 4,
                            GM_CLIP_INTERSECTION));
    EXPECT_EQ(nullptr, pieces);
    EXPECT_EQ(nullptr, lengths);
    EXPECT_EQ(0, count);
}

TEST(GeometryClip, RefusesUnknownModesAndNullResults) {
    gm_point** pieces = nullptr;
    int64_t* lengths = nullptr;
    int64_t count = 7;
    const gm_point* square = kSquare.data();
    EXPECT_GT(0, gm_clip_pp(&pieces, &lengths, &count, square, 4, square, 4, gm_clip_e(1)));
    EXPECT_GT(0, gm_clip_pp(nullptr, &lengths, &count, square, 4, square, 4, GM_CLIP_CUT));
    EXPECT_GT(0, gm_clip_pp(&pieces, nullptr, &count, square, 4, square, 4, GM_CLIP_CUT));
    EXPECT_GT(0, gm_clip_pp(&pieces, &lengths, nullptr, square, 4, square, 4, GM_CLIP_CUT));
    EXPECT_EQ(nullptr, pieces);
    EXPECT_EQ(7, count);
}

TEST(Geometry, TakesNullAndTooFewPointsEverywhere) {
    // Of exactly the size told, so that a sanitizer sees a look beyond it.
    for (long count : {-1L, 0L, 1L, 2L}) {
        const Shape shape(kSquare.begin(), kSquare.begin() + std::max(count, 0L));
        const gm_point* points = count > 0 ? shape.data() : nullptr;
        const bool hasPoints = count > 0;
        EXPECT_EQ(hasPoints, gm_intersect_pp(points, count, kSquare.data(), 4));
        EXPECT_EQ(hasPoints, gm_intersect_pp(kSquare.data(), 4, points, count));
        EXPECT_EQ(hasPoints, gm_intersect_ps(points, count, kSquare.data(), 4));
        EXPECT_EQ(hasPoints, gm_intersect_ps(kSquare.data(), 4, points, count));
        EXPECT_EQ(hasPoints, gm_intersect_ss(points, count, kSquare.data(), 4));
        EXPECT_EQ(hasPoints, gm_intersect_ss(kSquare.data(), 4, points, count));
        EXPECT_EQ(hasPoints, gm_inside_p(kSquare.data(), points, count));
        std::int64_t area = 7;
        EXPECT_EQ(-1, gm_area_p(&area, points, count));
        EXPECT_EQ(7, area);
        gm_point centroid{7, 7};
        EXPECT_EQ(-1, gm_centroid_p(&centroid, points, count));
        EXPECT_EQ((gm_point{7, 7}), centroid);
        EXPECT_THAT(clip(shape, kSquare, GM_CLIP_INTERSECTION), IsEmpty());
        EXPECT_THAT(clip(shape, kSquare, GM_CLIP_CUT), IsEmpty());
        EXPECT_THAT(clip(kSquare, shape, GM_CLIP_INTERSECTION), IsEmpty());
        EXPECT_EQ(2 * 100, twiceArea(clip(kSquare, shape, GM_CLIP_CUT)));
    }
    EXPECT_EQ(0, gm_intersect_pp(nullptr, 4, kSquare.data(), 4));
    EXPECT_EQ(0, gm_inside_p(nullptr, kSquare.data(), 4));
    EXPECT_EQ(-1, gm_area_p(nullptr, kSquare.data(), 4));
    EXPECT_EQ(-1, gm_centroid_p(nullptr, kSquare.data(), 4));
    EXPECT_EQ(-1, gm_transform_scale(nullptr, 4, 1, 1));
    EXPECT_EQ(0, gm_transform_scale(nullptr, 0, 1, 1));
    Shape none;
    EXPECT_EQ(-1, gm_transform_scale(none.data(), -1, 1, 1));
}
