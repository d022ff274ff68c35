#include "filters/swaying_filter.h"

#include <memory>

#include "tracking/tracking_object.h"
#include "tracking/tracking_object_external_data_no_merge.h"

namespace {

constexpr int onePercentSquared = 82 * 82;

class SwayingFilterTest : public testing::Test {
protected:
    // Sets what the filter remembers of the object.
    void remembers(int displacement, const Point& origin) {
        TrackingObjectExternalData* data = filter.getData(object);
        data->insert("localDisplacement", displacement);
        data->insert("pointOfOrigin", origin);
    }

    void moves(const Point& position) {
        object.position = position;
        filter.updateFilterData(object);
    }

    int displacement() { return object.getData("swaying_filter_3")->getInt("localDisplacement"); }
    Point origin() { return object.getData("swaying_filter_3")->getPoint("pointOfOrigin"); }
    bool passes() { return filter.canObjectTriggerAlarm(object); }

    // One percent of the view is 82 units.
    SwayingFilter filter{1, 3, true};
    TrackingObject object{1};
};

}  // namespace

TEST_F(SwayingFilterTest, StartsAtTheObjectsPositionWithoutDisplacement) {
    object.position = {5, 6};
    EXPECT_FALSE(passes());
    EXPECT_EQ(displacement(), 0);
    EXPECT_EQ(origin(), (Point{5, 6}));
}

TEST_F(SwayingFilterTest, KeepsItsDataUnderAKeyThatCarriesTheProfile) {
    filter.updateFilterData(object);
    EXPECT_NE(object.getData("swaying_filter_3"), nullptr);
    EXPECT_EQ(object.externalData.size(), 1U);
    EXPECT_NE(dynamic_cast<TrackingObjectExternalDataNoMerge*>(object.getData("swaying_filter_3")),
              nullptr);
}

TEST_F(SwayingFilterTest, TakesTheFirstMovementForNoReturn) {
    moves({0, 0});
    moves({1, 0});
    EXPECT_EQ(displacement(), 1);
    EXPECT_EQ(origin(), (Point{0, 0}));
}

TEST_F(SwayingFilterTest, KeepsTheGreatestDisplacement) {
    moves({0, 0});
    moves({30, 40});
    EXPECT_EQ(displacement(), 2500);
    moves({20, 40});
    EXPECT_EQ(displacement(), 2500);
    moves({0, 60});
    EXPECT_EQ(displacement(), 3600);
}

TEST_F(SwayingFilterTest, StartsAnewBelowAFifthOfTheExcursionAndNotAtIt) {
    // 1000 / 25 is 40: (6, 2) is just as far, squared, and (6, 1) is nearer, 37.
    remembers(1000, {0, 0});
    moves({6, 2});
    EXPECT_EQ(displacement(), 1000);
    EXPECT_EQ(origin(), (Point{0, 0}));
    moves({6, 1});
    EXPECT_EQ(displacement(), 0);
    EXPECT_EQ(origin(), (Point{6, 1}));
}

TEST_F(SwayingFilterTest, DividesTheExcursionInWholeNumbers) {
    // 1024 / 25 is 40.96 and counts as 40.
    remembers(1024, {0, 0});
    moves({6, 2});
    EXPECT_EQ(displacement(), 1024);
}

TEST_F(SwayingFilterTest, RefusesExactlyTheThresholdAndPassesBeyond) {
    remembers(onePercentSquared, {0, 0});
    EXPECT_FALSE(passes());
    remembers(onePercentSquared + 1, {0, 0});
    EXPECT_TRUE(passes());
}

TEST_F(SwayingFilterTest, StillStartsAnewFromExactlyTheThreshold) {
    moves({0, 0});
    moves({82, 0});
    EXPECT_EQ(displacement(), onePercentSquared);
    moves({1, 1});
    EXPECT_EQ(displacement(), 0);
    EXPECT_EQ(origin(), (Point{1, 1}));
}

TEST_F(SwayingFilterTest, NeverTakesBackThatAnObjectHasPassed) {
    moves({0, 0});
    moves({83, 0});
    EXPECT_TRUE(passes());
    moves({0, 0});
    EXPECT_TRUE(passes());
    EXPECT_EQ(displacement(), 83 * 83);
}

TEST_F(SwayingFilterTest, HoldsABranchBackThatSwaysForHours) {
    for (int swing = 0; swing < 1000; ++swing) {
        moves({static_cast<std::int16_t>(swing % 2 == 0 ? 0 : 80), 0});
        EXPECT_FALSE(passes());
    }
}

TEST_F(SwayingFilterTest, LetsAnObjectPassThatWalksAway) {
    for (std::int16_t x = 0; x <= 82; ++x) {
        moves({x, 0});
        EXPECT_FALSE(passes()) << x;
    }
    moves({83, 0});
    EXPECT_TRUE(passes());
}

TEST_F(SwayingFilterTest, PassesEverythingAndKeepsNothingWhileInactive) {
    SwayingFilter inactive(1, 4, false);
    inactive.updateFilterData(object);
    EXPECT_TRUE(inactive.canObjectTriggerAlarm(object));
    EXPECT_TRUE(object.externalData.empty());
}

TEST_F(SwayingFilterTest, KeepsProfilesApart) {
    SwayingFilter other(1, 4, true);
    moves({0, 0});
    moves({83, 0});
    other.updateFilterData(object);
    EXPECT_TRUE(passes());
    EXPECT_FALSE(other.canObjectTriggerAlarm(object));
}

TEST_F(SwayingFilterTest, ClonesItsThresholdKeyAndState) {
    moves({0, 0});
    moves({82, 0});
    const std::unique_ptr<ExclusionFilter> clone(filter.clone());
    EXPECT_FALSE(clone->canObjectTriggerAlarm(object));
    object.position = {83, 0};
    clone->updateFilterData(object);
    EXPECT_TRUE(passes());
    EXPECT_EQ(object.externalData.size(), 1U);
    const std::unique_ptr<ExclusionFilter> inactive(SwayingFilter(1, 5, false).clone());
    EXPECT_TRUE(inactive->canObjectTriggerAlarm(object));
}
