#include "device/transform.h"

#include <gtest/gtest.h>

#include <cstdint>

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

// The same in unsigned numbers, which wrap by themselves.
TEST(Transform, SurvivesAnyNumbers) {
    constexpr std::int32_t kEnds[] = {INT32_MIN, INT32_MIN + 1, -1, 1, INT32_MAX};
    const auto flip = [](std::uint32_t value, std::uint32_t from, bool isFlipped) {
        return isFlipped ? from - value : value - from;
    };
    for (const std::int32_t size : kEnds) {
        for (const std::int32_t value : kEnds) {
            const auto unsignedSize = static_cast<std::uint32_t>(size);
            const auto unsignedValue = static_cast<std::uint32_t>(value);
            const auto product = static_cast<std::int32_t>((unsignedValue + 4096) * unsignedSize);
            const auto pixel = static_cast<std::uint32_t>(product / 8192);
            EXPECT_EQ(static_cast<std::int32_t>(pixel),
                      Transform::toPixelValue(value, size, TransformPlain));
            EXPECT_EQ(static_cast<std::int32_t>(unsignedSize - pixel),
                      Transform::toPixelValue(value, size, TransformFlipped));
            for (const auto orientation : {TransformPlain, TransformFlipped}) {
                const std::uint32_t fromCentre =
                    flip(2 * unsignedValue, unsignedSize, orientation == TransformFlipped);
                EXPECT_EQ(static_cast<std::int32_t>(fromCentre << 12) / size,
                          Transform::fromPixelValue(value, size, orientation));
            }
        }
    }
}

TEST(Transform, PinsTheDirections) {
    EXPECT_EQ(0, TransformPlain);
    EXPECT_EQ(500 - 125,
              Transform::toPixelValue(-2048, 500, static_cast<TransformOrientation_e>(7)));
}

}  // namespace
