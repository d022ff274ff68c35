#include "filters/low_confident_object_filter.h"

#include <memory>

#include "tracking/tracking_object.h"

TEST(LowConfidentObjectFilter, PassesWhatTheEngineIsSureOf) {
    LowConfidentObjectFilter filter;
    TrackingObject object(1);
    object.confident = true;
    EXPECT_TRUE(filter.canObjectTriggerAlarm(object));
    object.confident = false;
    EXPECT_FALSE(filter.canObjectTriggerAlarm(object));
}

TEST(LowConfidentObjectFilter, KeepsNothingOnTheObject) {
    LowConfidentObjectFilter filter;
    TrackingObject object(1);
    filter.updateFilterData(object);
    filter.canObjectTriggerAlarm(object);
    EXPECT_TRUE(object.externalData.empty());
}

TEST(LowConfidentObjectFilter, ClonesIntoOneThatJudgesAlike) {
    const std::unique_ptr<ExclusionFilter> clone(LowConfidentObjectFilter().clone());
    TrackingObject object(1);
    object.confident = false;
    EXPECT_FALSE(clone->canObjectTriggerAlarm(object));
}
