#include "filters/object_lifetime_filter.h"

#include <memory>

#include "tracking/tracking_object.h"

namespace {

constexpr long limit = 2'000'000;

// Whether an object that was seen for this long passes the limit.
bool passes(long age) {
    ObjectLifetimeFilter filter(limit, true);
    TrackingObject object(1);
    object.firstSeen = 5'000'000;
    object.lastSeen = object.firstSeen + age;
    return filter.canObjectTriggerAlarm(object);
}

}  // namespace

TEST(ObjectLifetimeFilter, RefusesWhatIsYounger) {
    EXPECT_FALSE(passes(limit - 1));
}

TEST(ObjectLifetimeFilter, PassesAtExactlyTheLimit) {
    EXPECT_TRUE(passes(limit));
}

TEST(ObjectLifetimeFilter, PassesWhatIsOlder) {
    EXPECT_TRUE(passes(limit + 1));
}

TEST(ObjectLifetimeFilter, PassesANewObjectAtALimitOfZero) {
    ObjectLifetimeFilter filter(0, true);
    TrackingObject object(1);
    EXPECT_TRUE(filter.canObjectTriggerAlarm(object));
}

TEST(ObjectLifetimeFilter, PassesEverythingWhileInactive) {
    ObjectLifetimeFilter filter(limit, false);
    TrackingObject object(1);
    EXPECT_TRUE(filter.canObjectTriggerAlarm(object));
}

TEST(ObjectLifetimeFilter, KeepsNothingOnTheObject) {
    ObjectLifetimeFilter filter(limit, true);
    TrackingObject object(1);
    filter.updateFilterData(object);
    filter.canObjectTriggerAlarm(object);
    EXPECT_TRUE(object.externalData.empty());
}

TEST(ObjectLifetimeFilter, ClonesItsLimitAndState) {
    TrackingObject object(1);
    object.lastSeen = limit - 1;
    const std::unique_ptr<ExclusionFilter> active(ObjectLifetimeFilter(limit, true).clone());
    EXPECT_FALSE(active->canObjectTriggerAlarm(object));
    object.lastSeen = limit;
    EXPECT_TRUE(active->canObjectTriggerAlarm(object));
    object.lastSeen = 0;
    const std::unique_ptr<ExclusionFilter> inactive(ObjectLifetimeFilter(limit, false).clone());
    EXPECT_TRUE(inactive->canObjectTriggerAlarm(object));
}
