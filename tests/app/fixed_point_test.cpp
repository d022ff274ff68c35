#include "app/fixed_point.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>
#include <string>

namespace {

struct ClosePipe {
    void operator()(std::FILE* pipe) const { pclose(pipe); }
};

// What the program beside this one lets libraries that are loaded into it find.
std::set<std::string> exportsOfTheProgram() {
    const auto program =
        std::filesystem::read_symlink("/proc/self/exe").parent_path() / "tarnwatch";
    const std::string command =
        "nm --dynamic --defined-only --format=posix '" + program.string() + "'";
    const std::unique_ptr<std::FILE, ClosePipe> pipe(popen(command.c_str(), "r"));
    std::set<std::string> names;
    char name[4096];
    while (pipe != nullptr && std::fscanf(pipe.get(), "%4095s%*[^\n]", name) == 1) {
        names.insert(name);
    }
    return names;
}

TEST(FixedPoint, ConvertsIntegersByShifting) {
    EXPECT_EQ(3 << 16, fx_itox(3, 16));
    EXPECT_EQ(-2, fx_xtoi(fx_itox(-2, 12), 12));
    EXPECT_EQ(-2, fx_floorx(-3, 1));
}

TEST(FixedPoint, RoundsRealsHalfAwayFromZero) {
    EXPECT_EQ(1, fx_ftox(0.5F, 0));
    EXPECT_EQ(-1, fx_ftox(-0.5F, 0));
    EXPECT_EQ(0, fx_ftox(0.0F, 0));
    EXPECT_EQ(98304, fx_dtox(1.5, 16));
    EXPECT_EQ(-98304, fx_dtox(-1.5, 16));
}

TEST(FixedPoint, ChangesTheNumberOfFractionalBits) {
    EXPECT_EQ(48, fx_xtox(3, 0, 4));
    EXPECT_EQ(2, fx_xtox(3, 1, 0));
    EXPECT_EQ(-1, fx_xtox(-3, 1, 0));
    EXPECT_EQ(1, fx_xtox(22, 4, 0));
    EXPECT_EQ(7, fx_xtox(7, 4, 4));
}

TEST(FixedPoint, TakesTheBitsModulo32WhenGoingToReals) {
    EXPECT_FLOAT_EQ(0.5F, fx_xtof(1, 1));
    EXPECT_FLOAT_EQ(0.5F, fx_xtof(1, 33));
    EXPECT_DOUBLE_EQ(-1.25, fx_xtod(-5, 2));
    EXPECT_DOUBLE_EQ(3.0, fx_xtod(3, 32));
}

TEST(FixedPoint, RoundsAndCeilsToIntegers) {
    EXPECT_EQ(5, fx_roundx(5, 0));
    EXPECT_EQ(2, fx_roundx(3, 1));
    EXPECT_EQ(-1, fx_roundx(-3, 1));
    EXPECT_EQ(2, fx_ceilx(17, 4));
    EXPECT_EQ(1, fx_ceilx(16, 4));
    EXPECT_EQ(134217728, fx_ceilx(2147483647, 4));
}

TEST(FixedPoint, AddsAndSubtracts) {
    EXPECT_EQ(7, fx_addx(3, 4));
    EXPECT_EQ(-1, fx_subx(3, 4));
}

TEST(FixedPoint, MultipliesThrough64Bits) {
    EXPECT_EQ(12, fx_mulx(3, 4, 0));
    EXPECT_EQ(fx_itox(6, 16), fx_mulx(fx_itox(2, 16), fx_itox(3, 16), 16));
    EXPECT_EQ(2, fx_mulx(3, 1, 1));
    const fx_rdiv_t half = {1 << 15, 16};
    EXPECT_EQ(50, fx_rdivx(100, &half));
}

TEST(FixedPoint, DividesRoundingByTheSignOfTheDividend) {
    EXPECT_EQ(fx_itox(2, 16), fx_divx(fx_itox(6, 16), fx_itox(3, 16), 16));
    EXPECT_EQ(2, fx_divx(3, 2, 0));
    EXPECT_EQ(-2, fx_divx(-3, 2, 0));
    EXPECT_EQ(-2, fx_divx(3, -2, 0));
}

TEST(FixedPoint, WritesDecimalText) {
    char buffer[48];
    EXPECT_EQ(11, fx_itoa(buffer, -2147483647 - 1));
    EXPECT_STREQ("-2147483648", buffer);
    EXPECT_EQ(4, fx_xtoa(buffer, -5, 1));
    EXPECT_STREQ("-2.5", buffer);
}

TEST(FixedPoint, RefusesANullBuffer) {
    errno = 0;
    EXPECT_EQ(-1, fx_itoa(nullptr, 1));
    EXPECT_EQ(EINVAL, errno);
    errno = 0;
    EXPECT_EQ(-1, fx_xtoa(nullptr, 1, 1));
    EXPECT_EQ(EINVAL, errno);
}

TEST(FixedPoint, IsOfferedToWhatIsLoadedIntoTheProgram) {
    EXPECT_THAT(
        exportsOfTheProgram(),
        testing::IsSupersetOf({"fx_itox", "fx_ftox", "fx_dtox", "fx_xtox", "fx_xtoi", "fx_xtof",
                               "fx_xtod", "fx_floorx", "fx_roundx", "fx_ceilx", "fx_addx",
                               "fx_subx", "fx_mulx", "fx_divx", "fx_rdivx", "fx_itoa", "fx_xtoa"}));
}

}  // namespace
