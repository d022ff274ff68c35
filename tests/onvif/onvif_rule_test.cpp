#include "onvif/onvif_rule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using testing::ElementsAre;

namespace {

const std::vector<Point> kTriangle{{1, 2}, {-3, 4}, {5, -6}};

TEST(OnvifRule, IsEmptyAtFirst) {
    const OnvifRule rule;
    EXPECT_EQ("", rule.getName());
    EXPECT_EQ(0.0, rule.getSensitivity());
    EXPECT_EQ(rule.begin(), rule.end());
}

TEST(OnvifRule, CopiesWhatItIsMadeOf) {
    std::vector<Point> points = kTriangle;
    std::string name = "Door";
    const OnvifRule rule(0.25, points, name);
    points.clear();
    name.clear();
    EXPECT_EQ("Door", rule.getName());
    EXPECT_EQ(0.25, rule.getSensitivity());
    EXPECT_THAT(std::vector<Point>(rule.begin(), rule.end()),
                ElementsAre(Point{1, 2}, Point{-3, 4}, Point{5, -6}));
}

TEST(OnvifRule, EqualsAnotherInEveryPart) {
    const OnvifRule rule(0.25, kTriangle, "Door");
    EXPECT_EQ(rule, OnvifRule(0.25, kTriangle, "Door"));
    EXPECT_NE(rule, OnvifRule(0.25, kTriangle, "door"));
    EXPECT_NE(rule, OnvifRule(0.25000000000000006, kTriangle, "Door"));
    EXPECT_NE(rule, OnvifRule(0.25, {{1, 2}, {-3, 4}}, "Door"));
    EXPECT_NE(rule, OnvifRule(0.25, {{1, 2}, {5, -6}, {-3, 4}}, "Door"));
    EXPECT_NE(rule, OnvifRule(0.25, {{2, 1}, {-3, 4}, {5, -6}}, "Door"));
    EXPECT_NE(rule, OnvifRule());
}

}  // namespace
