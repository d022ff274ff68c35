#include "engine/outline.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

const cv::Size view{384, 288};
constexpr int mostVertices = 20;

Contour rectangle(int x, int y, int width, int height) {
    return {{x, y}, {x, y + height}, {x + width, y + height}, {x + width, y}};
}

/// A star of many points round the middle of the view.
Contour star(int points) {
    Contour contour;
    for (int i = 0; i < points; ++i) {
        const double angle = 2 * CV_PI * i / points;
        const double radius = i % 2 == 0 ? 100 : 60;
        contour.emplace_back(cvRound(192 + radius * std::cos(angle)),
                             cvRound(144 + radius * std::sin(angle)));
    }
    return contour;
}

std::int64_t doubleArea(const std::vector<ScenePoint>& polygon) {
    std::int64_t sum = 0;
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const ScenePoint& a = polygon[i];
        const ScenePoint& b = polygon[(i + 1) % polygon.size()];
        sum += std::int64_t{a.x} * b.y - std::int64_t{b.x} * a.y;
    }
    return std::abs(sum);
}

void expectGood(const std::vector<ScenePoint>& polygon) {
    EXPECT_GE(polygon.size(), 3u);
    EXPECT_LE(polygon.size(), 20u);
    EXPECT_TRUE(Outline::isSimple(polygon));
    EXPECT_GT(doubleArea(polygon), 0);
    for (const ScenePoint& point : polygon) {
        EXPECT_LE(std::abs(point.x), 4096);
        EXPECT_LE(std::abs(point.y), 4096);
    }
}

}  // namespace

TEST(Outline, TurnsPicturePointsIntoSceneUnits) {
    EXPECT_EQ(Outline::toScene({0, 0}, view), cv::Point2d(-4096, 4096));
    EXPECT_EQ(Outline::toScene({384, 288}, view), cv::Point2d(4096, -4096));
    EXPECT_EQ(Outline::toScene({192, 144}, view), cv::Point2d(0, 0));
    EXPECT_EQ(Outline::toScene({192, 0}, view), cv::Point2d(0, 4096));
    EXPECT_EQ(Outline::toScene({-10, 400}, view), cv::Point2d(-4096, -4096));
}

TEST(Outline, KeepsASimpleShape) {
    const auto polygon = Outline::make(rectangle(96, 72, 192, 144), true, {}, view, mostVertices);
    expectGood(polygon);
    EXPECT_THAT(polygon,
                testing::UnorderedElementsAre(ScenePoint{-2037, 2034}, ScenePoint{-2037, -2062},
                                              ScenePoint{2059, -2062}, ScenePoint{2059, 2034}));
}

TEST(Outline, KeepsToItsNumberOfVertices) {
    const auto polygon = Outline::make(star(60), true, {}, view, mostVertices);
    expectGood(polygon);
}

TEST(Outline, TakesTheHullOfSeveralPieces) {
    Contour pieces = rectangle(100, 100, 10, 10);
    const Contour second = rectangle(100, 130, 10, 10);
    pieces.insert(pieces.end(), second.begin(), second.end());
    const auto polygon = Outline::make(pieces, false, {}, view, mostVertices);
    expectGood(polygon);
    EXPECT_EQ(polygon.size(), 4u);
}

TEST(Outline, TakesTheHullOfAnOutlineThatCrossesItself) {
    const Contour bow = {{100, 100}, {200, 200}, {200, 100}, {100, 200}};
    const auto polygon = Outline::make(bow, true, {}, view, mostVertices);
    expectGood(polygon);
    EXPECT_EQ(polygon.size(), 4u);
}

TEST(Outline, MakesAPolygonOfALine) {
    expectGood(Outline::make({{100, 100}, {150, 100}}, true, {}, view, mostVertices));
    expectGood(Outline::make({{100, 100}}, true, {}, view, mostVertices));
}

TEST(Outline, FollowsAShift) {
    const auto polygon =
        Outline::make(rectangle(96, 72, 192, 144), true, {12, 0}, view, mostVertices);
    EXPECT_THAT(polygon, testing::Contains(ScenePoint{-1781, 2034}));
}

TEST(Outline, StaysInsideTheViewWhateverTheShift) {
    for (const cv::Point2d shift : {cv::Point2d(-150, 0), cv::Point2d(1000, 0),
                                    cv::Point2d(0, -1e6), cv::Point2d(300, 300)}) {
        expectGood(Outline::make(star(40), true, shift, view, mostVertices));
        expectGood(Outline::make(rectangle(0, 0, 20, 20), true, shift, view, mostVertices));
    }
}

TEST(Outline, KnowsASimplePolygon) {
    EXPECT_TRUE(Outline::isSimple({{0, 0}, {0, 9}, {9, 9}}));
    EXPECT_TRUE(Outline::isSimple({{0, 0}, {5, 0}, {9, 0}, {9, 9}}));          // a straight corner
    EXPECT_TRUE(Outline::isSimple({{0, 0}, {9, 0}, {9, 9}, {4, 4}, {0, 9}}));  // concave
    EXPECT_FALSE(Outline::isSimple({{0, 0}, {9, 9}}));
    EXPECT_FALSE(Outline::isSimple({{0, 0}, {9, 9}, {9, 0}, {0, 9}}));          // crosses itself
    EXPECT_FALSE(Outline::isSimple({{0, 0}, {9, 0}, {4, 0}, {4, 9}}));          // turns back
    EXPECT_FALSE(Outline::isSimple({{0, 0}, {9, 0}, {9, 9}, {5, 0}, {0, 9}}));  // touches an edge
    EXPECT_FALSE(Outline::isSimple({{0, 0}, {5, 5}, {9, 0}, {9, 9}, {5, 5}, {0, 9}}));  // a corner
    EXPECT_FALSE(Outline::isSimple({{0, 0}, {4, 4}, {9, 9}}));                          // no area
}
