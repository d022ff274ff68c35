#include "geometry/polygon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <memory>

#include "app/utils.h"
#include "geometry/double/geometry_double.h"
#include "geometry/polygon_container.h"
#include "geometry/polyline.h"
#include "support/syslog_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace {

class PolygonTest : public testing::Test {
protected:
    PolygonTest() { GeometryDouble::reset(); }
    ~PolygonTest() override { GeometryDouble::reset(); }
};

struct Box {
    int minX, minY, maxX, maxY, width, height;
    friend bool operator==(const Box&, const Box&) = default;
};

Box boxOf(const Polygon& polygon) {
    return {polygon.minX, polygon.minY, polygon.maxX, polygon.maxY, polygon.width, polygon.height};
}

constexpr Box kNoBox{0, 0, 0, 0, 0, 0};

Polygon polygon(const std::vector<short>& xy) {
    return Polygon(xy.data(), static_cast<int>(xy.size() / 2));
}

const Polygon kSquare(0, 10, 0, 10);

std::string printed(const Polygon& each) {
    testing::internal::CaptureStdout();
    each.print();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

}  // namespace

// Construction.

TEST_F(PolygonTest, FromThreeOrMorePointsIsThePointsWithTheirBox) {
    const Polygon result = polygon({3, -4, 10, 2, -5, 7});
    EXPECT_THAT(result.points, ElementsAre(Point{3, -4}, Point{10, 2}, Point{-5, 7}));
    EXPECT_EQ((Box{-5, -4, 10, 7, 15, 11}), boxOf(result));
}

TEST_F(PolygonTest, WidthAndHeightSpanTheWhole16Bits) {
    const Polygon result = polygon({-32768, -32768, 32767, 0, 0, 32767});
    EXPECT_EQ((Box{-32768, -32768, 32767, 32767, 65535, 65535}), boxOf(result));
}

TEST_F(PolygonTest, FromCentreTruncatesHalves) {
    const Polygon result(Point{10, -10}, 5, 3);
    EXPECT_THAT(result.points,
                ElementsAre(Point{8, -11}, Point{8, -8}, Point{13, -8}, Point{13, -11}));
    EXPECT_EQ((Box{8, -11, 13, -8, 5, 3}), boxOf(result));
    // Towards zero, also for a negative size.
    const Polygon negative(Point{0, 0}, -5, -3);
    EXPECT_THAT(negative.points,
                ElementsAre(Point{2, 1}, Point{2, -2}, Point{-3, -2}, Point{-3, 1}));
    EXPECT_EQ((Box{2, 1, -3, -2, -5, -3}), boxOf(negative));
}

TEST_F(PolygonTest, FromEdgesTakesThemInTheOrderOfItsParameters) {
    const Polygon result(1, 5, -3, 7);
    EXPECT_THAT(result.points, ElementsAre(Point{1, -3}, Point{1, 7}, Point{5, 7}, Point{5, -3}));
    EXPECT_EQ((Box{1, -3, 5, 7, 4, 10}), boxOf(result));
}

TEST_F(PolygonTest, FromOneOrTwoPointsHasNoBox) {
    const Polygon one(Point{3, 4});
    EXPECT_THAT(one.points, ElementsAre(Point{3, 4}));
    EXPECT_EQ(kNoBox, boxOf(one));
    const Polygon two(Point{3, 4}, Point{5, 6});
    EXPECT_THAT(two.points, ElementsAre(Point{3, 4}, Point{5, 6}));
    EXPECT_EQ(kNoBox, boxOf(two));
    EXPECT_TRUE(kSquare.doesIntersect(one));
    EXPECT_FALSE(kSquare.doesIntersect(Polygon(Point{11, 4}, Point{15, 6})));
}

// Repair of short input.

TEST_F(PolygonTest, NoPointsBecomeATriangleAtTheOrigin) {
    const short unused[] = {7, 7};
    for (const Polygon& result :
         {Polygon(nullptr, 0), Polygon(nullptr, 3), Polygon(unused, 0), Polygon(unused, -1)}) {
        EXPECT_THAT(result.points, ElementsAre(Point{0, 0}, Point{0, 1}, Point{1, 0}));
        EXPECT_EQ(kNoBox, boxOf(result));
    }
}

TEST_F(PolygonTest, OnePointIsJoinedByItsMovedSelves) {
    const Polygon result = polygon({5, -7});
    EXPECT_THAT(result.points, ElementsAre(Point{5, -7}, Point{6, -6}, Point{6, -7}));
    EXPECT_EQ(kNoBox, boxOf(result));
}

TEST_F(PolygonTest, APointIsMovedBackFrom2048On) {
    EXPECT_THAT(polygon({2048, 2048}).points,
                ElementsAre(Point{2048, 2048}, Point{2047, 2047}, Point{2047, 2048}));
    EXPECT_THAT(polygon({2047, 4096}).points,
                ElementsAre(Point{2047, 4096}, Point{2048, 4095}, Point{2048, 4096}));
    EXPECT_THAT(polygon({32767, -32768}).points,
                ElementsAre(Point{32767, -32768}, Point{32766, -32767}, Point{32766, -32768}));
}

TEST_F(PolygonTest, TwoEqualPointsBecomeFourVertices) {
    const Polygon result = polygon({5, 6, 5, 6});
    EXPECT_THAT(result.points, ElementsAre(Point{5, 6}, Point{5, 6}, Point{6, 7}, Point{6, 6}));
    EXPECT_EQ(kNoBox, boxOf(result));
}

TEST_F(PolygonTest, TwoDifferentPointsAreJoinedByTheSecondMoved) {
    const Polygon result = polygon({5, 6, 3000, -4000});
    EXPECT_THAT(result.points, ElementsAre(Point{5, 6}, Point{3000, -4000}, Point{2999, -3999}));
    EXPECT_EQ(kNoBox, boxOf(result));
}

TEST_F(PolygonTest, ThreeEqualPointsAreNotRepaired) {
    const Polygon result = polygon({5, 6, 5, 6, 5, 6});
    EXPECT_THAT(result.points, SizeIs(3));
    EXPECT_EQ((Box{5, 6, 5, 6, 0, 0}), boxOf(result));
}

TEST_F(PolygonTest, InitializeTakesPointsAsTheyAre) {
    Polygon result(kSquare);
    const short xy[] = {1, 2, 3, 4};
    result.initialize(xy, 2);
    EXPECT_THAT(result.points, ElementsAre(Point{1, 2}, Point{3, 4}));
    EXPECT_EQ((Box{1, 2, 3, 4, 2, 2}), boxOf(result));
    result.initialize(nullptr, 5);
    EXPECT_THAT(result.points, SizeIs(2));
    EXPECT_EQ((Box{1, 2, 3, 4, 2, 2}), boxOf(result));
}

TEST_F(PolygonTest, InitializeWithoutPointsLeavesTheBoxInsideOut) {
    for (const int count : {0, -1}) {
        Polygon result(kSquare);
        const short unused[] = {7, 7};
        result.initialize(unused, count);
        EXPECT_THAT(result.points, IsEmpty());
        EXPECT_EQ((Box{32767, 32767, -32768, -32768, -65535, -65535}), boxOf(result));
    }
}

TEST_F(PolygonTest, FindNewPointsMovesByOneTowardsTheCentre) {
    short out[4] = {9, 9, 9, 9};
    Polygon::findNewPoints(2047, 2048, out, 1);
    EXPECT_THAT(out, ElementsAre(2048, 2047, 9, 9));
    Polygon::findNewPoints(-1, 3000, out, 2);
    EXPECT_THAT(out, ElementsAre(0, 2999, 0, 3000));
    Polygon::findNewPoints(1, 1, nullptr, 2);
}

TEST_F(PolygonTest, AreArrayPointsEqualAsksForTwoAndMore) {
    const short xy[] = {1, 2, 1, 2, 1, 2, 1, 3};
    EXPECT_TRUE(Polygon::areArrayPointsEqual(xy, 2));
    EXPECT_TRUE(Polygon::areArrayPointsEqual(xy, 3));
    EXPECT_FALSE(Polygon::areArrayPointsEqual(xy, 4));
    EXPECT_FALSE(Polygon::areArrayPointsEqual(xy, 1));
    EXPECT_FALSE(Polygon::areArrayPointsEqual(xy, 0));
    EXPECT_FALSE(Polygon::areArrayPointsEqual(nullptr, 2));
    const short differentX[] = {1, 2, 2, 2};
    EXPECT_FALSE(Polygon::areArrayPointsEqual(differentX, 2));
}

// Comparison.

TEST_F(PolygonTest, EqualsTheSameCycleFromAnyStartAndInEitherDirection) {
    const Polygon base = polygon({0, 0, 0, 5, 5, 5, 7, 2});
    EXPECT_TRUE(base == polygon({0, 0, 0, 5, 5, 5, 7, 2}));
    EXPECT_TRUE(base == polygon({5, 5, 7, 2, 0, 0, 0, 5}));
    EXPECT_TRUE(base == polygon({7, 2, 5, 5, 0, 5, 0, 0}));
    EXPECT_TRUE(base == polygon({0, 5, 0, 0, 7, 2, 5, 5}));
    EXPECT_FALSE(base == polygon({0, 0, 5, 5, 0, 5, 7, 2}));
    EXPECT_FALSE(base == polygon({0, 0, 0, 5, 5, 5}));
    EXPECT_FALSE(base == polygon({1, 1, 0, 5, 5, 5, 7, 2}));
}

TEST_F(PolygonTest, EqualsLooksAtTheFirstOccurrenceOnly) {
    // The same cycle, but it fits from the second occurrence of the first vertex alone.
    const Polygon base = polygon({0, 0, 1, 0, 0, 0, 0, 1, 2, 2});
    const Polygon turned = polygon({0, 0, 0, 1, 2, 2, 0, 0, 1, 0});
    EXPECT_FALSE(base == turned);
}

TEST_F(PolygonTest, EmptyPolygonsAreEqual) {
    Polygon empty(kSquare);
    empty.points.clear();
    EXPECT_TRUE(empty == Polygon(empty));
    EXPECT_FALSE(empty == kSquare);
}

TEST_F(PolygonTest, FindPositionGivesTheFirstEqualVertex) {
    const Polygon base = polygon({1, 1, 2, 2, 1, 1});
    EXPECT_EQ(0, base.findPosition({1, 1}));
    EXPECT_EQ(1, base.findPosition({2, 2}));
    EXPECT_EQ(-1, base.findPosition({3, 3}));
}

TEST_F(PolygonTest, CloneHasAllFields) {
    Polygon base(kSquare);
    base.minX = -77;
    const std::unique_ptr<Polygon> clone(base.clone());
    EXPECT_EQ(base.points, clone->points);
    EXPECT_EQ(boxOf(base), boxOf(*clone));
}

// Measures.

TEST_F(PolygonTest, CentroidFallsBackToTheFirstVertex) {
    EXPECT_EQ((Point{5, 5}), kSquare.getCentroid());
    EXPECT_EQ((Point{1, 2}), polygon({1, 2, 3, 4, 5, 6}).getCentroid());
    GeometryDouble::failCall("gm_centroid_p", 1);
    EXPECT_EQ((Point{0, 0}), kSquare.getCentroid());
}

TEST_F(PolygonTest, AreaIsZeroOnFailure) {
    EXPECT_EQ(100, kSquare.getPolygonArea());
    GeometryDouble::failCall("gm_area_p", 1);
    EXPECT_EQ(0, kSquare.getPolygonArea());
    EXPECT_EQ(0, Polygon(Point{1, 1}).getPolygonArea());
}

TEST_F(PolygonTest, AreaKeepsTheLow32Bits) {
    const std::int64_t area = std::int64_t{65535} * 65535;
    EXPECT_EQ(static_cast<std::int32_t>(area),
              Polygon(-32768, 32767, -32768, 32767).getPolygonArea());
}

// Moving and scaling.

TEST_F(PolygonTest, MoveToBringsTheCentroidThereAndKeepsTheOldBox) {
    Polygon moved(kSquare);
    moved.moveTo({105, -5});
    EXPECT_THAT(moved.points,
                ElementsAre(Point{100, -10}, Point{100, 0}, Point{110, 0}, Point{110, -10}));
    EXPECT_EQ(boxOf(kSquare), boxOf(moved));
}

TEST_F(PolygonTest, MoveToTakesTheFirstVertexWithoutACentroid) {
    Polygon moved(kSquare);
    GeometryDouble::failCall("gm_centroid_p", 1);
    moved.moveTo({1, 2});
    EXPECT_EQ((Point{1, 2}), moved.points[0]);
    EXPECT_EQ((Point{11, 12}), moved.points[2]);
}

TEST_F(PolygonTest, MoveToWrapsAround) {
    Polygon moved(kSquare);
    moved.moveTo({32767, 5});
    EXPECT_EQ((Point{32762, 0}), moved.points[0]);
    EXPECT_EQ((Point{-32764, 10}), moved.points[2]);
}

TEST_F(PolygonTest, ScaledCopyKeepsCentroidAndOldBox) {
    const Polygon base(100, 110, 200, 210);
    const std::unique_ptr<Polygon> copy(base.createScaledCopy(2));
    EXPECT_THAT(copy->points,
                ElementsAre(Point{95, 195}, Point{95, 215}, Point{115, 215}, Point{115, 195}));
    EXPECT_EQ(boxOf(base), boxOf(*copy));
    EXPECT_EQ((Point{100, 200}), base.points[0]);
}

TEST_F(PolygonTest, ScaledCopyRoundsItsFactorToSixteenBits) {
    // 0.3 * 65536 is 19660.8; 10000 * 19661 / 65536 is 3000.03.
    const Polygon base(-10000, 10000, -10000, 10000);
    const std::unique_ptr<Polygon> copy(base.createScaledCopy(0.3F));
    EXPECT_EQ((Point{-3000, -3000}), copy->points[0]);
    const std::unique_ptr<Polygon> mirrored(base.createScaledCopy(-0.5F));
    EXPECT_EQ((Point{5000, 5000}), mirrored->points[0]);
}

TEST_F(PolygonTest, ScalingToNothingGathersAllVerticesAtTheCentroid) {
    const std::unique_ptr<Polygon> copy(kSquare.createScaledCopy(0));
    EXPECT_THAT(copy->points, testing::Each(Point{5, 5}));
}

TEST_F(PolygonTest, AFailureToScaleIsLoggedAndGivesAnUnscaledCopy) {
    SyslogCapture log;
    GeometryDouble::failCall("gm_transform_scale", 1);
    const std::unique_ptr<Polygon> copy(kSquare.createScaledCopy(2));
    EXPECT_EQ(kSquare.points, copy->points);
    EXPECT_THAT(log.lines(), ElementsAre(SyslogCapture::Line{
                                 LOG_WARNING, "Failed to create a scaled copy of a polygon\n"}));
}

TEST_F(PolygonTest, AScaleThatDoesNotFitIsAFailure) {
    SyslogCapture log;
    const std::unique_ptr<Polygon> copy(Polygon(0, 20000, 0, 10).createScaledCopy(2));
    EXPECT_EQ((Point{20000, 10}), copy->points[2]);
    EXPECT_THAT(log.lines(), SizeIs(1));
}

TEST_F(PolygonTest, ScaledCopyTakesFirstVerticesWithoutACentroid) {
    GeometryDouble::failEveryCall("gm_centroid_p");
    const std::unique_ptr<Polygon> copy(Polygon(100, 110, 200, 210).createScaledCopy(2));
    EXPECT_EQ((Point{100, 200}), copy->points[0]);
    EXPECT_EQ((Point{120, 220}), copy->points[2]);
}

// Meeting and holding.

TEST_F(PolygonTest, DoesIntersectCountsTouching) {
    EXPECT_TRUE(kSquare.doesIntersect(Polygon(10, 20, 10, 20)));
    EXPECT_FALSE(kSquare.doesIntersect(Polygon(11, 20, 0, 10)));
    EXPECT_TRUE(kSquare.doesIntersect(Polyline({-5, 5}, {5, 5})));
    EXPECT_FALSE(kSquare.doesIntersect(Polyline({-5, 11}, {5, 11})));
}

TEST_F(PolygonTest, IsPolygonInsideAsksForTheVerticesOnly) {
    const Polygon notched = polygon({0, 0, 0, 10, 4, 10, 4, 2, 6, 2, 6, 10, 10, 10, 10, 0});
    EXPECT_TRUE(notched.isPolygonInside(Polygon(1, 9, 1, 9)));
    EXPECT_FALSE(notched.isPolygonInside(Polygon(5, 9, 1, 9)));
    EXPECT_TRUE(kSquare.isPolygonInside(kSquare));
    Polygon empty(kSquare);
    empty.points.clear();
    EXPECT_TRUE(kSquare.isPolygonInside(empty));
}

TEST_F(PolygonTest, PlatformAnswersOtherThanOneAreNo) {
    GeometryDouble::failEveryCall("gm_intersect_pp");
    GeometryDouble::failEveryCall("gm_intersect_ps");
    GeometryDouble::failEveryCall("gm_inside_p");
    EXPECT_FALSE(kSquare.doesIntersect(kSquare));
    EXPECT_FALSE(kSquare.doesIntersect(Polyline({0, 0}, {5, 5})));
    EXPECT_FALSE(kSquare.isPolygonInside(kSquare));
}

// Clipping.

TEST_F(PolygonTest, IntersectAppendsTheCommonPieces) {
    PolygonContainer out;
    out.insert(new Polygon(Point{7, 7}));
    kSquare.intersect(Polygon(5, 15, -5, 20), out);
    ASSERT_THAT(out.polygons, SizeIs(2));
    EXPECT_THAT(out.polygons[1]->points,
                UnorderedElementsAre(Point{5, 0}, Point{5, 10}, Point{10, 10}, Point{10, 0}));
    EXPECT_EQ((Box{5, 0, 10, 10, 5, 10}), boxOf(*out.polygons[1]));
}

TEST_F(PolygonTest, CutOffAppendsWhatRemains) {
    PolygonContainer out;
    kSquare.cutOff(Polygon(4, 6, -5, 15), out);
    ASSERT_THAT(out.polygons, SizeIs(2));
    EXPECT_EQ(80, out.polygons[0]->getPolygonArea() + out.polygons[1]->getPolygonArea());
}

TEST_F(PolygonTest, AFailureOfTheClipperGivesNoPiecesAndLogsNothing) {
    SyslogCapture log;
    GeometryDouble::failEveryCall("gm_clip_pp");
    PolygonContainer out;
    kSquare.intersect(kSquare, out);
    kSquare.cutOff(Polygon(4, 6, 4, 6), out);
    EXPECT_THAT(out.polygons, IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(PolygonTest, ClippingWithItselfMovesEachVertexOfTheCopyFirst) {
    // Each of them to the left and up: the copy is the square moved by that, and neither it nor the
    // square itself has changed.
    PolygonContainer out;
    const Polygon square(0, 100, 0, 100);
    square.gmClipWrapper(square, square, GM_CLIP_INTERSECTION, out);
    ASSERT_THAT(out.polygons, SizeIs(1));
    EXPECT_THAT(out.polygons[0]->points,
                UnorderedElementsAre(Point{0, 1}, Point{0, 100}, Point{99, 100}, Point{99, 1}));
    EXPECT_EQ(Polygon(0, 100, 0, 100), square);
}

TEST_F(PolygonTest, ClippingLeavesBothPolygonsAsTheyWere) {
    PolygonContainer out;
    const Polygon clip(10, 20, 0, 10);
    kSquare.intersect(clip, out);
    EXPECT_EQ(Polygon(0, 10, 0, 10).points, kSquare.points);
    EXPECT_EQ(Polygon(10, 20, 0, 10).points, clip.points);
}

TEST_F(PolygonTest, AdjustDuplicatesMovesVerticesOfTheClipPolygonOnly) {
    Polygon clip = polygon({0, 0, 50, 50, 0, 10, 50, 50});
    Polygon::adjustDuplicates(kSquare, clip);
    EXPECT_THAT(clip.points,
                ElementsAre(Point{-1, 1}, Point{50, 50}, Point{-1, 11}, Point{49, 51}));
}

TEST_F(PolygonTest, AdjustDuplicatesFindsAllBeforeItMovesAny) {
    // The first is moved to where the second one stands free, were that not known by then.
    Polygon clip = polygon({0, 0, -1, 1, 20, 20});
    Polygon::adjustDuplicates(kSquare, clip);
    EXPECT_THAT(clip.points, ElementsAre(Point{-1, -1}, Point{-1, 1}, Point{20, 20}));
}

TEST_F(PolygonTest, AdjustDuplicatesKnowsReplacementsAsUsed) {
    Polygon clip = polygon({50, 50, 50, 50, 50, 50});
    Polygon::adjustDuplicates(kSquare, clip);
    EXPECT_THAT(clip.points, ElementsAre(Point{50, 50}, Point{49, 51}, Point{49, 49}));
}

// The closest free grid point.

TEST_F(PolygonTest, ClosestNonDuplicateWalksTheRingInOrder) {
    std::set<Point> used{{0, 0}};
    const std::vector<Point> firstRing{{-1, 1}, {-1, -1}, {0, 1},  {0, -1},
                                       {1, 1},  {1, -1},  {-1, 0}, {1, 0}};
    for (const Point& expected : firstRing) {
        EXPECT_EQ(expected, Polygon::findClosestNonDuplicate({0, 0}, used));
        used.insert(expected);
    }
    const std::vector<Point> secondRing{{-2, 2}, {-2, -2}, {-1, 2}, {-1, -2}, {0, 2},   {0, -2},
                                        {1, 2},  {1, -2},  {2, 2},  {2, -2},  {-2, -1}, {2, -1},
                                        {-2, 0}, {2, 0},   {-2, 1}, {2, 1}};
    for (const Point& expected : secondRing) {
        EXPECT_EQ(expected, Polygon::findClosestNonDuplicate({0, 0}, used));
        used.insert(expected);
    }
}

TEST_F(PolygonTest, ClosestNonDuplicateStaysInThePicture) {
    std::set<Point> used{{4096, 4096}};
    EXPECT_EQ((Point{4095, 4096}), Polygon::findClosestNonDuplicate({4096, 4096}, used));
    used.insert({4095, 4096});
    EXPECT_EQ((Point{4095, 4095}), Polygon::findClosestNonDuplicate({4096, 4096}, used));
    used.insert({4095, 4095});
    EXPECT_EQ((Point{4096, 4095}), Polygon::findClosestNonDuplicate({4096, 4096}, used));
    used.insert({4096, 4095});
    EXPECT_EQ((Point{4094, 4096}), Polygon::findClosestNonDuplicate({4096, 4096}, used));
}

TEST_F(PolygonTest, ClosestNonDuplicateComesBackFromOutsideThePicture) {
    EXPECT_EQ((Point{4096, 4096}), Polygon::findClosestNonDuplicate({5000, 5000}, {}));
    EXPECT_EQ((Point{-4096, -4096}), Polygon::findClosestNonDuplicate({-5000, -5000}, {}));
    // In 16 bits the far corner comes back round the other way.
    EXPECT_EQ((Point{0, 0}), Polygon::findClosestNonDuplicate({-32768, -32768}, {}));
}

TEST_F(PolygonTest, ClosestNonDuplicateTriesTheSidesWhereTopAndBottomAreEmpty) {
    // The ring's edges have passed each other, so that the sides alone are walked.
    EXPECT_EQ((Point{4999, 0}), Polygon::findClosestNonDuplicate({5000, 0}, {}));
    EXPECT_EQ((Point{4096, 0}), Polygon::findClosestNonDuplicate({5000, 0}, {{4999, 0}}));
}

// Text.

TEST_F(PolygonTest, SvgIsInUnitsOf4096) {
    const Polygon base = polygon({0, 0, 4096, -4096, 2048, 1});
    EXPECT_EQ(
        "<polygon class=\"c\" points=\" 0.000,0.000 1.000,-1.000 0.500,0.000\" style=\"s\"  />\n",
        base.toStringSvg("s", "c"));
    EXPECT_EQ("<polygon class=\"c\" points=\" 0.000,0.000 1.000,-1.000 0.500,0.000\" />\n",
              base.toStringSvg("", "c"));
}

TEST_F(PolygonTest, BoxSvgIsTheFourCorners) {
    const Polygon base = polygon({0, 0, 4096, -4096, 2048, 1024});
    EXPECT_EQ(
        "<polygon class=\"\" points=\" 0.000,-1.000 1.000,-1.000 1.000,0.250 0.000,0.250\" "
        "style=\"s\"  />\n",
        base.toBoundingBoxStringSvg("s", ""));
}

TEST_F(PolygonTest, PrintDumpsToStandardOutput) {
    const std::string text = printed(polygon({1, 2, 3, 4, 5, 0}));
    EXPECT_THAT(text, testing::StartsWith("Polygon"));
    EXPECT_THAT(text, testing::HasSubstr("width: 4"));
    EXPECT_THAT(text, testing::HasSubstr(" height: 4"));
    EXPECT_THAT(text, testing::HasSubstr("Vertices: {x: 1, y: 2}"));
}

TEST_F(PolygonTest, ARotationBy180ExchangesTheCoordinatesToo) {
    EXPECT_EQ((Point{-2, -1}), utils::convertViewedCoordinate({1, 2}, 180));
    EXPECT_EQ((Point{-2, 1}), utils::convertViewedCoordinate({1, 2}, 90));
    EXPECT_EQ((Point{2, -1}), utils::convertViewedCoordinate({1, 2}, 270));
    EXPECT_EQ((Point{1, 2}), utils::convertViewedCoordinate({1, 2}, 0));
    EXPECT_EQ((Point{1, 2}), utils::convertViewedCoordinate({1, 2}, 45));
}
