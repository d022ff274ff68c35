#include "app/interval_timer_observer_data.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/fake_clock.h"

namespace {

FakeClock* clockOfTheTest = nullptr;
std::vector<int> notified;

void takeHalfASecond(int id) {
    notified.push_back(id);
    clockOfTheTest->advance(500'000);
}

class IntervalTimerObserverDataTest : public testing::Test {
protected:
    IntervalTimerObserverDataTest() {
        clockOfTheTest = &clock;
        notified.clear();
    }

    FakeClock clock{7'000'000};
    IntervalTimerObserverData data{3, 200'000, takeHalfASecond};
};

TEST_F(IntervalTimerObserverDataTest, IsDueAnIntervalFromItsConstruction) {
    EXPECT_EQ(3, data.getId());
    EXPECT_EQ(7'200'000, data.getNextNotification());
}

TEST_F(IntervalTimerObserverDataTest, CountsTheIntervalFromTheEndOfANotification) {
    clock.set(8'000'000);
    data.notify();
    EXPECT_EQ(std::vector<int>{3}, notified);
    EXPECT_EQ(8'700'000, data.getNextNotification());
}

TEST_F(IntervalTimerObserverDataTest, UpdatesItsTimeFromTheClockAndNotFromTheLastOne) {
    clock.set(9'000'000);
    data.updateNotificationTime();
    EXPECT_EQ(9'200'000, data.getNextNotification());
}

}  // namespace
