#include "overlay/decimal_text.h"

#include <gtest/gtest.h>

namespace {

TEST(DecimalText, IsAWholeNumber) {
    EXPECT_EQ(utils::parseDecimal("0").get(), 0);
    EXPECT_EQ(utils::parseDecimal("1080").get(), 1080);
    EXPECT_EQ(utils::parseDecimal("-7").get(), -7);
    EXPECT_EQ(utils::parseDecimal("2147483647").get(), 2147483647);
}

TEST(DecimalText, IsNothingElse) {
    for (const char* text : {"", " 1", "1 ", "+1", "1.0", "0x10", "ten", "-", "2147483648"}) {
        EXPECT_FALSE(utils::parseDecimal(text).hasValue()) << text;
    }
}

}  // namespace
