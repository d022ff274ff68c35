#include "app/timer.h"

#include <gtest/gtest.h>

namespace {

TEST(Timer, HasNotReachedTheEndAtExactlyTheDuration) {
    Timer timer(1000);
    timer.start(5000);
    EXPECT_FALSE(timer.reachedEnd(6000));
    EXPECT_TRUE(timer.reachedEnd(6001));
}

TEST(Timer, KeepsTheFirstOfTwoStarts) {
    Timer timer(1000);
    timer.start(5000);
    timer.start(9000);
    EXPECT_TRUE(timer.reachedEnd(6001));
}

TEST(Timer, RestartAlwaysSetsTheStart) {
    Timer timer(1000);
    timer.start(5000);
    timer.restart(9000);
    EXPECT_FALSE(timer.reachedEnd(6001));
    EXPECT_TRUE(timer.reachedEnd(10001));
}

TEST(Timer, NeverReachesTheEndUnlessStarted) {
    Timer timer(0);
    EXPECT_FALSE(timer.reachedEnd(1000000));
    timer.start(0);
    timer.stop();
    EXPECT_FALSE(timer.reachedEnd(1000000));
}

}  // namespace
