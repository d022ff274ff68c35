#include "config/data_boundaries.h"

#include <gtest/gtest.h>

#include "support/test_device.h"

namespace {

TEST(DataBoundaries, HoldsTheLimitsOfThisBuild) {
    const DataBoundaries limits = DataBoundaries::ofThisBuild();
    EXPECT_EQ(limits.sizePercentageFilter->minWidth, 3);
    EXPECT_EQ(limits.sizePercentageFilter->maxWidth, 100);
    EXPECT_EQ(limits.sizePercentageFilter->minHeight, 3);
    EXPECT_EQ(limits.sizePercentageFilter->maxHeight, 100);
    EXPECT_EQ(limits.ptz->maxNbrPresets, 1);
    EXPECT_EQ(limits.profile->maxNameLength, 64);
    EXPECT_EQ(limits.profile->minNameLength, 1);
    EXPECT_EQ(limits.profile->maxProfilesSingleCamera, 3);
    EXPECT_EQ(limits.profile->maxProfilesPTZ, 10);
    EXPECT_EQ(limits.profile->maxProfilesMultiCamera, 3);
    EXPECT_EQ(limits.profile->minProfilesPerCamera, 0);
    EXPECT_EQ(limits.shortLivedFilter->max, 5);
    EXPECT_EQ(limits.shortLivedFilter->min, 1);
    EXPECT_EQ(limits.swayingFilter->max, 20);
    EXPECT_EQ(limits.swayingFilter->min, 3);
    EXPECT_EQ(limits.excludeArea->maxNbrInstances, 3);
    EXPECT_EQ(limits.excludeArea->minNbrInstances, 0);
    EXPECT_EQ(limits.excludeArea->datapoints.maxNbrVertices, 20);
    EXPECT_EQ(limits.excludeArea->datapoints.minNbrVertices, 3);
    EXPECT_EQ(limits.includeArea->maxNbrInstances, 1);
    EXPECT_EQ(limits.includeArea->minNbrInstances, 1);
    EXPECT_EQ(limits.includeArea->datapoints.maxNbrVertices, 20);
    EXPECT_EQ(limits.includeArea->datapoints.minNbrVertices, 3);
    EXPECT_EQ(limits.loitering, nullptr);
    EXPECT_EQ(limits.fence, nullptr);
}

TEST(DataBoundaries, OfALoiteringApplicationLackWhatItDoesNotTake) {
    auto* loitering = new LoiteringBoundaries{};
    const DataBoundaries limits(nullptr, new PTZ_Boundaries{1}, nullptr,
                                new SwayingFilterBoundaries{20, 3}, nullptr, loitering);
    EXPECT_EQ(limits.loitering, loitering);
    EXPECT_EQ(limits.swayingFilter->max, 20);
    EXPECT_EQ(limits.ptz->maxNbrPresets, 1);
    EXPECT_EQ(limits.shortLivedFilter, nullptr);
    EXPECT_EQ(limits.includeArea, nullptr);
    EXPECT_EQ(limits.fence, nullptr);
}

TEST(DataBoundaries, OfAFenceApplicationLackWhatItDoesNotTake) {
    auto* fence = new FenceBoundaries{};
    const DataBoundaries limits(nullptr, nullptr, nullptr, new ShortLivedFilterBoundaries{5, 1},
                                fence);
    EXPECT_EQ(limits.fence, fence);
    EXPECT_EQ(limits.shortLivedFilter->max, 5);
    EXPECT_EQ(limits.swayingFilter, nullptr);
    EXPECT_EQ(limits.excludeArea, nullptr);
    EXPECT_EQ(limits.includeArea, nullptr);
    EXPECT_EQ(limits.loitering, nullptr);
}

TEST(DataBoundaries, TheLimitOfProfilesFollowsTheDevice) {
    const ProfileBoundaries limits{.maxNameLength = 64,
                                   .minNameLength = 1,
                                   .maxProfilesSingleCamera = 4,
                                   .maxProfilesPTZ = 10,
                                   .maxProfilesMultiCamera = 5,
                                   .minProfilesPerCamera = 0};
    TestDevice device;
    EXPECT_EQ(limits.maxProfilesPerCamera(), 4);
    device.isMechanicalPTZ();
    EXPECT_EQ(limits.maxProfilesPerCamera(), 10);
    device.hasSources(2);
    EXPECT_EQ(limits.maxProfilesPerCamera(), 5);
}

}  // namespace
