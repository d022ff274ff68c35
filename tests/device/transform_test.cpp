#include "device/transform.h"

#include <gtest/gtest.h>

namespace {

TEST(Transform, GoesFromSceneToPixels) {
    EXPECT_EQ(500, Transform::toPixelValue(0, 1000, TransformPlain));
    EXPECT_EQ(0, Transform::toPixelValue(-4096, 1000, TransformPlain));
    EXPECT_EQ(1000, Transform::toPixelValue(4096, 1000, TransformPlain));
    EXPECT_EQ(1000, Transform::toPixelValue(-4096, 1000, TransformFlipped));
    EXPECT_EQ(250, Transform::toPixelValue(2048, 1000, TransformFlipped));
}

TEST(Transform, TruncatesTowardsZero) {
    EXPECT_EQ(0, Transform::toPixelValue(-4097, 1000, TransformPlain));
    EXPECT_EQ(-3, Transform::toPixelValue(-4096 - 30, 1000, TransformPlain));
}

TEST(Transform, GoesFromPixelsToScene) {
    EXPECT_EQ(0, Transform::fromPixelValue(500, 1000, TransformPlain));
    EXPECT_EQ(-4096, Transform::fromPixelValue(0, 1000, TransformPlain));
    EXPECT_EQ(4096, Transform::fromPixelValue(0, 1000, TransformFlipped));
    EXPECT_EQ(2048, Transform::fromPixelValue(250, 1000, TransformFlipped));
}

TEST(Transform, SurvivesASizeOfZero) {
    EXPECT_EQ(0, Transform::fromPixelValue(17, 0, TransformPlain));
    EXPECT_EQ(0, Transform::fromPixelValue(17, 0, TransformFlipped));
    EXPECT_EQ(0, Transform::toPixelValue(17, 0, TransformPlain));
}

TEST(Transform, ScalesLengths) {
    EXPECT_EQ(250, Transform::scaleSize(2048, 1000));
    EXPECT_EQ(-250, Transform::scaleSize(-2048, 1000));
}

TEST(Transform, WrapsProductsIn32Bits) {
    constexpr int size = 1 << 19;
    EXPECT_EQ(-(1 << 18), Transform::toPixelValue(0, size, TransformPlain));
    EXPECT_EQ(0, Transform::scaleSize(8192, size));
    EXPECT_EQ(4096 - 8192, Transform::fromPixelValue(size, size, TransformPlain));
}

TEST(Transform, PinsTheDirections) {
    EXPECT_EQ(0, TransformPlain);
    EXPECT_EQ(500 - 125,
              Transform::toPixelValue(-2048, 500, static_cast<TransformOrientation_e>(7)));
}

}  // namespace
