#include "overlay/external_overlay_union.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

TEST(ExternalOverlayUnion, TakesTheLargerOfEachMargin) {
    ExternalOverlayUnion margins;
    margins.add(40, 0);
    margins.add(30, 20);
    margins.add(-1, -1);
    EXPECT_EQ(margins, (ExternalOverlayUnion{.top = 40, .bottom = 20}));
    margins.clear();
    EXPECT_EQ(margins, ExternalOverlayUnion());
}

TEST(ExternalOverlayUnion, RoundsUpToAMultipleOf16) {
    const auto rounded = [](int top, int bottom) {
        ExternalOverlayUnion margins{.top = top, .bottom = bottom};
        margins.adjustMarginToMacroBlockSize();
        return margins;
    };
    EXPECT_EQ(rounded(0, 16), (ExternalOverlayUnion{.top = 0, .bottom = 16}));
    EXPECT_EQ(rounded(1, 17), (ExternalOverlayUnion{.top = 16, .bottom = 32}));
    EXPECT_EQ(rounded(15, 40), (ExternalOverlayUnion{.top = 16, .bottom = 48}));
    constexpr int kLargest = std::numeric_limits<int>::max();
    EXPECT_EQ(rounded(kLargest, kLargest - 15),
              (ExternalOverlayUnion{.top = 2147483632, .bottom = 2147483632}));
}

}  // namespace
