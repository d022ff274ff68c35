#include "app/convert.h"

#include <gtest/gtest.h>

namespace {

TEST(StringToInt, IgnoresTextBehindTheNumber) {
    EXPECT_EQ(12, Convert::stringToInt("12abc").get());
    EXPECT_TRUE(Convert::stringToInt("12abc").hasValue());
}

TEST(StringToInt, IsEmptyWithoutADigitOrOutside32Bits) {
    for (const char* text : {static_cast<const char*>(nullptr), "", "abc", "-", "99999999999",
                             "-99999999999", "99999999999999999999999"}) {
        EXPECT_FALSE(Convert::stringToInt(text).hasValue()) << (text != nullptr ? text : "null");
    }
}

TEST(StringToInt, GivesZeroWhenTheDigitsStandBehindText) {
    EXPECT_TRUE(Convert::stringToInt("abc12").hasValue());
    EXPECT_EQ(0, Convert::stringToInt("abc12").get());
}

TEST(StringToInt, ReadsTheLimitsOf32Bits) {
    EXPECT_EQ(2147483647, Convert::stringToInt("2147483647").get());
    EXPECT_EQ(-2147483647 - 1, Convert::stringToInt("-2147483648").get());
    EXPECT_FALSE(Convert::stringToInt("2147483648").hasValue());
}

TEST(StringToFloat, WantsTheWholeText) {
    EXPECT_FALSE(Convert::stringToFloat("12abc").hasValue());
    EXPECT_FALSE(Convert::stringToFloat("").hasValue());
    EXPECT_FALSE(Convert::stringToFloat(nullptr).hasValue());
    EXPECT_FALSE(Convert::stringToFloat("inf").hasValue());
    EXPECT_FLOAT_EQ(-0.5F, Convert::stringToFloat("-.5").get());
    EXPECT_FLOAT_EQ(1.25F, Convert::stringToFloat("1.25").get());
}

TEST(IntToString, IsDecimal) {
    EXPECT_EQ("-17", Convert::intToString(-17));
}

TEST(DoubleToString, HasJustSoManyDecimals) {
    EXPECT_EQ("1.2346", Convert::doubleToString(1.23456, 4));
    EXPECT_EQ("100.0000", Convert::doubleToString(100, 4));
    EXPECT_EQ("2", Convert::doubleToString(2.4, 0));
}

}  // namespace
