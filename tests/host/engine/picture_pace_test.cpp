#include "engine/picture_pace.h"

#include <gtest/gtest.h>

namespace {

constexpr std::int64_t ms = 1'000'000;
constexpr std::int64_t s = 1000 * ms;

}  // namespace

TEST(PicturePace, KeepsTheStreamsIntervals) {
    PicturePace pace;
    pace.restart(100 * s);
    EXPECT_EQ(pace.due(7 * s), 100 * s);
    EXPECT_EQ(pace.due(7 * s + 40 * ms), 100 * s + 40 * ms);
    EXPECT_EQ(pace.due(8 * s), 101 * s);
    EXPECT_EQ(pace.due(17 * s + 999 * ms), 110 * s + 999 * ms);
}

TEST(PicturePace, ReplacesTimesThatAreMissingOrGoBack) {
    PicturePace pace(40 * ms);
    pace.restart(0);
    EXPECT_EQ(pace.due({}), 0);
    EXPECT_EQ(pace.due({}), 40 * ms);
    EXPECT_EQ(pace.due(3 * s), 80 * ms);
    EXPECT_EQ(pace.due(3 * s + 50 * ms), 130 * ms);
    EXPECT_EQ(pace.due(3 * s + 50 * ms), 180 * ms);  // the usual interval is 50 ms by now
    EXPECT_EQ(pace.due(1 * s), 230 * ms);
    EXPECT_EQ(pace.due(1 * s + 40 * ms), 270 * ms);  // counts on from there
}

TEST(PicturePace, ReplacesAJumpOfMoreThanTenSeconds) {
    PicturePace pace(40 * ms);
    pace.restart(0);
    EXPECT_EQ(pace.due(0), 0);
    EXPECT_EQ(pace.due(10 * s), 10 * s);
    EXPECT_EQ(pace.due(20 * s + 1), 20 * s);
    EXPECT_EQ(pace.due(20 * s + 1 + 40 * ms), 20 * s + 40 * ms);
}

TEST(PicturePace, GoesOnAfterARestart) {
    PicturePace pace;
    pace.restart(10 * s);
    pace.due(5 * s);
    pace.due(5 * s + 100 * ms);
    pace.due(5 * s + 200 * ms);
    pace.restart(0);
    EXPECT_EQ(pace.due(5 * s), 10 * s + 300 * ms);
    EXPECT_EQ(pace.due(5 * s + 100 * ms), 10 * s + 400 * ms);
    pace.restart(60 * s);
    EXPECT_EQ(pace.due(5 * s), 60 * s);
}

TEST(PicturePace, NeverGoesBackBeforeItsStart) {
    PicturePace pace;
    pace.restart(10 * s);
    pace.restart(0);
    EXPECT_EQ(pace.due(5 * s), 10 * s);
}

TEST(PicturePace, Slips) {
    PicturePace pace;
    pace.restart(0);
    pace.due(0);
    pace.slip(2 * s);
    EXPECT_EQ(pace.due(100 * ms), 2 * s + 100 * ms);
}

TEST(PicturePace, KnowsTheMedianInterval) {
    PicturePace pace(70 * ms);
    EXPECT_EQ(pace.interval(), 70 * ms);
    pace.restart(0);
    for (const std::int64_t time : {0 * ms, 40 * ms, 80 * ms, 700 * ms}) {
        pace.due(time);
    }
    EXPECT_EQ(pace.interval(), 40 * ms);
    EXPECT_EQ(PicturePace().interval(), 100 * ms);
}
