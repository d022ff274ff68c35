#include "onvif/onvif_rules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

using testing::ElementsAre;

namespace {

const OnvifRule kDoor(0.5, {{1, 2}}, "Door");
const OnvifRule kGate(0.5, {{1, 2}}, "Gate");

TEST(OnvifRules, AreNoneAtFirst) {
    const OnvifRules rules;
    EXPECT_TRUE(rules.getRules().empty());
    EXPECT_EQ(rules.begin(), rules.end());
    EXPECT_EQ(0, rules.getCameraNbr());
}

TEST(OnvifRules, KeepTheirOrder) {
    const OnvifRules rules({kGate, kDoor}, 2);
    EXPECT_THAT(rules.getRules(), ElementsAre(kGate, kDoor));
    EXPECT_THAT(std::vector<OnvifRule>(rules.begin(), rules.end()), ElementsAre(kGate, kDoor));
    EXPECT_EQ(2, rules.getCameraNbr());
}

TEST(OnvifRules, EqualOthersInOrderAndCamera) {
    const OnvifRules rules({kGate, kDoor}, 2);
    EXPECT_EQ(rules, OnvifRules({kGate, kDoor}, 2));
    EXPECT_NE(rules, OnvifRules({kDoor, kGate}, 2));
    EXPECT_NE(rules, OnvifRules({kGate}, 2));
    EXPECT_NE(rules, OnvifRules({kGate, kDoor}, 1));
}

}  // namespace
