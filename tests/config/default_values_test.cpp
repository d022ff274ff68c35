#include "config/default_values.h"

#include <gtest/gtest.h>

namespace {

TEST(DefaultValues, HoldsTheProposalsOfThisBuild) {
    const DefaultValues values = DefaultValues::ofThisBuild();
    EXPECT_EQ(values.sizePercentageFilter->width, 5);
    EXPECT_EQ(values.sizePercentageFilter->height, 5);
    EXPECT_TRUE(values.sizePercentageFilter->active);
    EXPECT_EQ(values.shortLivedFilter->seconds, 1);
    EXPECT_TRUE(values.shortLivedFilter->active);
    EXPECT_EQ(values.swayingFilter->percent, 5);
    EXPECT_TRUE(values.swayingFilter->active);
    EXPECT_EQ(values.includeArea->left, -0.97F);
    EXPECT_EQ(values.includeArea->right, 0.97F);
    EXPECT_EQ(values.includeArea->bottom, -0.97F);
    EXPECT_EQ(values.includeArea->top, 0.97F);
    EXPECT_EQ(values.excludeArea->left, -0.2F);
    EXPECT_EQ(values.excludeArea->right, 0.2F);
    EXPECT_EQ(values.excludeArea->bottom, -0.2F);
    EXPECT_EQ(values.excludeArea->top, 0.2F);
    EXPECT_EQ(values.ptz->preset, -2);
    EXPECT_TRUE(values.supportedCapabilities->motionLevelSupported);
    EXPECT_EQ(values.loitering, nullptr);
    EXPECT_EQ(values.fence, nullptr);
}

TEST(DefaultValues, OfALoiteringApplicationLackWhatItDoesNotTake) {
    auto* loitering = new LoiteringDefaults{};
    const DefaultValues values(nullptr, new SwayingFilterDefaults{5, true}, nullptr, nullptr,
                               loitering, new SupportedCapabilitiesDefaults{false});
    EXPECT_EQ(values.loitering, loitering);
    EXPECT_EQ(values.swayingFilter->percent, 5);
    EXPECT_FALSE(values.supportedCapabilities->motionLevelSupported);
    EXPECT_EQ(values.shortLivedFilter, nullptr);
    EXPECT_EQ(values.includeArea, nullptr);
    EXPECT_EQ(values.fence, nullptr);
}

TEST(DefaultValues, OfAFenceApplicationLackWhatItDoesNotTake) {
    auto* fence = new FenceDefaults{};
    const DefaultValues values(nullptr, new ShortLivedFilterDefaults{1, true}, nullptr, nullptr,
                               new PTZ_Defaults{-2}, fence, nullptr);
    EXPECT_EQ(values.fence, fence);
    EXPECT_EQ(values.ptz->preset, -2);
    EXPECT_EQ(values.shortLivedFilter->seconds, 1);
    EXPECT_EQ(values.includeArea, nullptr);
    EXPECT_EQ(values.loitering, nullptr);
    EXPECT_EQ(values.supportedCapabilities, nullptr);
}

}  // namespace
