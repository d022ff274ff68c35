#include "guard/area_proof.h"

#include <gtest/gtest.h>

namespace {

using Points = std::vector<Point>;

Points box(int left, int right, int low, int high) {
    const auto cut = [](int value) { return static_cast<std::int16_t>(value); };
    return {{cut(left), cut(low)},
            {cut(left), cut(high)},
            {cut(right), cut(high)},
            {cut(right), cut(low)}};
}

AreaProof proofOf(const Points& include, const std::vector<Points>& excludes = {}) {
    AreaProof proof(include);
    for (const Points& exclude : excludes) {
        proof.addExcludeArea(exclude);
    }
    return proof;
}

const Points kArea = box(-1000, 1000, -1000, 1000);

}  // namespace

TEST(AreaProof, FarIsOutside) {
    EXPECT_EQ(AreaProof::kOutside, proofOf(kArea).ask(box(1001, 1200, 0, 100)));
    EXPECT_EQ(AreaProof::kOutside, proofOf(kArea, {kArea}).ask(box(1001, 1200, 0, 100)));
}

TEST(AreaProof, BesideASlantedAreaIsOutside) {
    const Points triangle{{-1000, -1000}, {1000, -1000}, {-1000, 1000}};
    EXPECT_EQ(AreaProof::kOutside, proofOf(triangle).ask(box(500, 900, 500, 900)));
    // In the notch of a concave one, where no straight line parts the two.
    const Points notched{{-1000, -1000}, {-1000, 1000}, {-500, 1000}, {-500, 0},
                         {500, 0},       {500, 1000},   {1000, 1000}, {1000, -1000}};
    EXPECT_EQ(AreaProof::kOutside, proofOf(notched).ask(box(-200, 200, 200, 600)));
}

TEST(AreaProof, TrueOverlapIsInside) {
    EXPECT_EQ(AreaProof::kInside, proofOf(kArea).ask(box(-100, 100, -100, 100)));
    EXPECT_EQ(AreaProof::kInside, proofOf(kArea).ask(box(900, 1300, -100, 100)));
    EXPECT_EQ(AreaProof::kInside, proofOf(kArea).ask(box(-4000, 4000, -4000, 4000)));
    EXPECT_EQ(AreaProof::kInside, proofOf(kArea).ask({{990, 0}, {2000, 900}, {2000, -900}}));
}

TEST(AreaProof, WhatSticksOutOfExcludesIsInside) {
    const AreaProof proof =
        proofOf(kArea, {box(-2000, 0, -2000, 2000), box(500, 2000, -2000, 2000)});
    EXPECT_EQ(AreaProof::kInside, proof.ask(box(-300, 100, 0, 300)));
    EXPECT_EQ(AreaProof::kInside, proof.ask(box(-300, 700, 0, 300)));
    EXPECT_EQ(AreaProof::kInside, proof.ask({{-600, -600}, {-600, 600}, {60, 0}}));
}

TEST(AreaProof, DeepInAnExcludeNothingIsLeft) {
    const Points notched{{-900, -900}, {-900, 900}, {-500, 900}, {-500, 0},
                         {500, 0},     {500, 900},  {900, 900},  {900, -900}};
    EXPECT_EQ(AreaProof::kNothingLeft, proofOf(kArea, {kArea}).ask(box(-100, 100, -100, 100)));
    EXPECT_EQ(AreaProof::kNothingLeft, proofOf(kArea, {notched}).ask(box(-100, 100, -500, -100)));
    // Out of the exclude, but not within the area.
    EXPECT_EQ(AreaProof::kNothingLeft,
              proofOf(kArea, {box(500, 1500, -500, 500)}).ask(box(600, 2000, -100, 100)));
    // The same where only the corners of the common part show it.
    EXPECT_EQ(AreaProof::kNothingLeft,
              proofOf({{-1000, -1000}, {1000, -1000}, {-1000, 1000}}, {box(-500, 500, -500, 500)})
                  .ask({{-100, -100}, {-100, 30}, {2000, 2000}, {30, -100}}));
}

TEST(AreaProof, LeavesOpenWhatMovesAndRoundingMayDecide) {
    // Touching, a sliver, and an exclude that is covered to the unit.
    EXPECT_EQ(AreaProof::kOpen, proofOf(kArea).ask(box(1000, 1200, 0, 100)));
    EXPECT_EQ(AreaProof::kOpen, proofOf(kArea).ask(box(998, 1200, 0, 100)));
    EXPECT_EQ(AreaProof::kOpen, proofOf(kArea, {box(0, 100, 0, 100)}).ask(box(0, 100, 0, 100)));
    EXPECT_EQ(AreaProof::kOpen, proofOf(kArea, {box(0, 100, 0, 100)}).ask(box(-1, 100, 0, 100)));
}

TEST(AreaProof, LeavesOpenWhatLiesInTheNotchOfAnExclude) {
    // All vertices of the bar lie in the exclude: it is excluded, though it crosses the notch.
    const Points notched{{-900, -900}, {-900, 900}, {-500, 900}, {-500, 0},
                         {500, 0},     {500, 900},  {900, 900},  {900, -900}};
    EXPECT_EQ(AreaProof::kOpen, proofOf(kArea, {notched}).ask(box(-700, 700, 300, 500)));
    EXPECT_EQ(AreaProof::kOpen, proofOf(kArea, {notched}).ask(box(-100, 100, 300, 500)));
}

TEST(AreaProof, LeavesOpenWhatIsNotForIt) {
    EXPECT_EQ(AreaProof::kOpen, proofOf(kArea).ask({}));
    EXPECT_EQ(AreaProof::kOpen, proofOf(kArea).ask({{0, 0}, {1, 1}}));
    EXPECT_EQ(AreaProof::kOpen, proofOf(kArea).ask(box(-100, 5000, -100, 100)));
    EXPECT_EQ(AreaProof::kOpen, proofOf(kArea).ask(Points(65, Point{0, 0})));
    EXPECT_EQ(AreaProof::kOpen, proofOf({}).ask(box(-100, 100, -100, 100)));
    EXPECT_EQ(AreaProof::kOpen, proofOf(box(-5000, 0, 0, 100)).ask(box(-100, 100, -100, 100)));
    EXPECT_EQ(AreaProof::kOpen, proofOf(Points(513, Point{0, 0})).ask(box(-100, 100, -100, 100)));
    EXPECT_EQ(AreaProof::kOpen, proofOf(kArea, {{}}).ask(box(-100, 100, -100, 100)));
    EXPECT_EQ(AreaProof::kOpen,
              proofOf(kArea, {Points(510, Point{0, 0})}).ask(box(-100, 100, -100, 100)));
    EXPECT_EQ(AreaProof::kOpen, proofOf(kArea, std::vector<Points>(17, box(-200, 0, -200, 0)))
                                    .ask(box(-100, 100, -100, 100)));
}

TEST(AreaProof, ManyExcludesElsewhereDoNotMatter) {
    EXPECT_EQ(AreaProof::kInside, proofOf(kArea, std::vector<Points>(20, box(500, 900, 500, 900)))
                                      .ask(box(-100, 100, -100, 100)));
}
