#include "events/svg_style.h"

#include <gtest/gtest.h>

namespace {

TEST(SvgStyle, FillsAndStrokesInOneColourWithSixDecimals) {
    EXPECT_EQ(createSvgStyle("#FF0000", 0.2F, 0.005F),
              "fill:#FF0000;fill-opacity:0.200000;stroke:#FF0000;stroke-width:0.005000;");
    EXPECT_EQ(createSvgStyle("#00FF00", 0.0F, 0.02F),
              "fill:#00FF00;fill-opacity:0.000000;stroke:#00FF00;stroke-width:0.020000;");
}

TEST(SvgStyle, PrintsSinglePrecisionValues) {
    EXPECT_EQ(createSvgStyle("red", 16777217.0F, 0.1F),
              "fill:red;fill-opacity:16777216.000000;stroke:red;stroke-width:0.100000;");
}

}  // namespace
