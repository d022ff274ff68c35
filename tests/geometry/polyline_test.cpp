#include "geometry/polyline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "geometry/double/geometry_double.h"
#include "geometry/polygon.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class PolylineTest : public testing::Test {
protected:
    PolylineTest() { GeometryDouble::reset(); }
    ~PolylineTest() override { GeometryDouble::reset(); }
};

const short kBent[] = {0, 0, 10, 0, 10, 10};

}  // namespace

TEST_F(PolylineTest, TakesPointsWithoutRepair) {
    EXPECT_THAT(Polyline(kBent, 3).points, ElementsAre(Point{0, 0}, Point{10, 0}, Point{10, 10}));
    EXPECT_THAT(Polyline(kBent, 1).points, ElementsAre(Point{0, 0}));
    EXPECT_THAT(Polyline(kBent, 0).points, IsEmpty());
    EXPECT_THAT(Polyline(nullptr, 3).points, IsEmpty());
    EXPECT_THAT(Polyline({1, 2}, {1, 2}).points, ElementsAre(Point{1, 2}, Point{1, 2}));
}

TEST_F(PolylineTest, CloneIsEqual) {
    const Polyline line(kBent, 3);
    const std::unique_ptr<Polyline> clone(line.clone());
    EXPECT_TRUE(line == *clone);
}

TEST_F(PolylineTest, EqualsInTheSameOrderOnly) {
    const short reversed[] = {10, 10, 10, 0, 0, 0};
    const Polyline line(kBent, 3);
    EXPECT_TRUE(line == Polyline(kBent, 3));
    EXPECT_FALSE(line != Polyline(kBent, 3));
    EXPECT_TRUE(line != Polyline(reversed, 3));
    EXPECT_TRUE(line != Polyline(kBent, 2));
    EXPECT_TRUE(Polyline(kBent, 0) == Polyline(nullptr, 0));
}

TEST_F(PolylineTest, FindPositionGivesTheFirstEqualVertex) {
    const Polyline line(kBent, 3);
    EXPECT_EQ(1, line.findPosition({10, 0}));
    EXPECT_EQ(-1, line.findPosition({5, 0}));
}

TEST_F(PolylineTest, AreArrayPointsEqualAsksForTwoAndMore) {
    const short same[] = {1, 2, 1, 2};
    EXPECT_TRUE(Polyline::areArrayPointsEqual(same, 2));
    EXPECT_FALSE(Polyline::areArrayPointsEqual(same, 1));
    EXPECT_FALSE(Polyline::areArrayPointsEqual(kBent, 2));
    EXPECT_FALSE(Polyline::areArrayPointsEqual(nullptr, 2));
}

TEST_F(PolylineTest, MeetsPolygonsAndLines) {
    const Polyline line(kBent, 3);
    EXPECT_TRUE(line.doesIntersect(Polygon(5, 20, 5, 20)));
    // Inside the bend, where only a third side would be met.
    EXPECT_FALSE(line.doesIntersect(Polygon(3, 6, 3, 6)));
    EXPECT_TRUE(line.doesIntersect(Polyline({5, 5}, {15, 5})));
    EXPECT_FALSE(line.doesIntersect(Polyline({0, 1}, {9, 10})));
}

TEST_F(PolylineTest, PlatformAnswersOtherThanOneAreNo) {
    GeometryDouble::failEveryCall("gm_intersect_ps");
    GeometryDouble::failEveryCall("gm_intersect_ss");
    const Polyline line(kBent, 3);
    EXPECT_FALSE(line.doesIntersect(Polygon(5, 20, 5, 20)));
    EXPECT_FALSE(line.doesIntersect(line));
}

TEST_F(PolylineTest, SvgIsInUnitsOf4096) {
    EXPECT_EQ("<polyline class=\"fence\" points=\" 1.000,0.000 -0.500,0.250\" style=\"s\"  />\n",
              Polyline({4096, 0}, {-2048, 1024}).toStringSvg("s", "fence"));
    EXPECT_EQ("<polyline class=\"\" points=\" 1.000,0.000 -0.500,0.250\" />\n",
              Polyline({4096, 0}, {-2048, 1024}).toStringSvg("", ""));
}

TEST_F(PolylineTest, TextNamesTheVertices) {
    EXPECT_THAT(Polyline({1, 2}, {3, 4}).toString(),
                testing::HasSubstr("{x: 1, y: 2}, {x: 3, y: 4}"));
    testing::internal::CaptureStdout();
    Polyline({1, 2}, {3, 4}).print();
    std::fflush(stdout);
    EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::HasSubstr("{x: 3, y: 4}"));
}
