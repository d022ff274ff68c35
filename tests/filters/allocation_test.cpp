// An object that the filters refuse costs no memory from its second scene on.

#include <memory>

#include "filters/low_confident_object_filter.h"
#include "filters/object_lifetime_filter.h"
#include "filters/perspective_bar.h"
#include "filters/size_filter_percent.h"
#include "filters/size_filter_perspective.h"
#include "filters/swaying_filter.h"
#include "support/allocation_counter.h"
#include "tracking/tracking_object.h"

TEST(Filters, AllocateNothingForAnObjectThatTheyKnow) {
    const Perspective perspective(
        {PerspectiveBar(-1000, -600, 100), PerspectiveBar(1000, 1200, 100)});
    std::vector<std::unique_ptr<ExclusionFilter>> filters;
    for (int profile = 1; profile <= 10; ++profile) {
        filters.push_back(std::make_unique<LowConfidentObjectFilter>());
        filters.push_back(std::make_unique<ObjectLifetimeFilter>(1'000'000, true));
        filters.push_back(std::make_unique<SizeFilterPercent>(5, 5, true));
        filters.push_back(
            std::make_unique<SizeFilterPerspective>(profile, 100, 200, perspective, true));
        filters.push_back(std::make_unique<SwayingFilter>(5, profile, true));
    }
    TrackingObject object(100, 200);
    const auto judge = [&filters, &object](Point position) {
        object.position = position;
        bool passes = true;
        for (const auto& filter : filters) {
            filter->updateFilterData(object);
        }
        for (const auto& filter : filters) {
            passes = filter->canObjectTriggerAlarm(object) && passes;
        }
        return passes;
    };
    allocationCount = 0;
    EXPECT_FALSE(judge({0, 0}));
    EXPECT_GT(allocationCount, 0U) << "the counter does not count";
    allocationCount = 0;
    for (std::int16_t x = 1; x < 100; ++x) {
        EXPECT_FALSE(judge({x, 0}));
    }
    EXPECT_EQ(allocationCount, 0U);
}
