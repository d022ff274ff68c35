#include "filters/size_filter_percent.h"

#include <memory>

#include "tracking/tracking_object.h"

namespace {

// Whether an object of this greatest size passes 10 percent by 50 percent: 819 by 4096.
bool passes(int width, int height) {
    SizeFilterPercent filter(10, 50, true);
    TrackingObject object(width, height);
    return filter.canObjectTriggerAlarm(object);
}

}  // namespace

TEST(SizeFilterPercent, RefusesWhatIsSmallInBothDirections) {
    EXPECT_FALSE(passes(100, 100));
}

TEST(SizeFilterPercent, RefusesExactlyTheLimits) {
    EXPECT_FALSE(passes(819, 4096));
}

TEST(SizeFilterPercent, PassesWhatIsLargeInOneDirection) {
    EXPECT_TRUE(passes(820, 0));
    EXPECT_TRUE(passes(0, 4097));
}

TEST(SizeFilterPercent, JudgesTheGreatestSizeSoFar) {
    SizeFilterPercent filter(10, 50, true);
    TrackingObject object(820, 0);
    object.InvariantBox::update(1, 1);
    EXPECT_TRUE(filter.canObjectTriggerAlarm(object));
}

TEST(SizeFilterPercent, RefusesOnlyTheSizelessAtZeroPercent) {
    SizeFilterPercent filter(0, 0, true);
    TrackingObject nothing(0, 0);
    TrackingObject narrow(0, 1);
    TrackingObject flat(1, 0);
    EXPECT_FALSE(filter.canObjectTriggerAlarm(nothing));
    EXPECT_TRUE(filter.canObjectTriggerAlarm(narrow));
    EXPECT_TRUE(filter.canObjectTriggerAlarm(flat));
}

TEST(SizeFilterPercent, PassesEverythingWhileInactive) {
    SizeFilterPercent filter(100, 100, false);
    TrackingObject object(0, 0);
    EXPECT_TRUE(filter.canObjectTriggerAlarm(object));
}

TEST(SizeFilterPercent, KeepsNothingOnTheObject) {
    SizeFilterPercent filter(10, 50, true);
    TrackingObject object(0, 0);
    filter.updateFilterData(object);
    filter.canObjectTriggerAlarm(object);
    EXPECT_TRUE(object.externalData.empty());
}

TEST(SizeFilterPercent, ClonesItsLimitsAndState) {
    TrackingObject object(819, 4096);
    const std::unique_ptr<ExclusionFilter> active(SizeFilterPercent(10, 50, true).clone());
    EXPECT_FALSE(active->canObjectTriggerAlarm(object));
    const std::unique_ptr<ExclusionFilter> inactive(SizeFilterPercent(10, 50, false).clone());
    EXPECT_TRUE(inactive->canObjectTriggerAlarm(object));
}
