#include "app/interval_timer_observable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "support/fake_clock.h"
#include "support/syslog_capture.h"

namespace {

std::atomic<int> calls{0};
std::atomic<int> lastId{-2};
std::atomic<long> firstCallTime{0};

void note(int id) {
    lastId = id;
    if (calls == 0) {
        firstCallTime = g_get_monotonic_time();
    }
    ++calls;
}

std::atomic<int> selfRemovingCalls{0};

void removeSelf(int id) {
    ++selfRemovingCalls;
    IntervalTimerObservable::unregisterObserver(id);
}

std::atomic<int> chainedCalls{0};

void countChained(int) {
    ++chainedCalls;
}

void registerAnother(int id) {
    IntervalTimerObservable::unregisterObserver(id);
    IntervalTimerObservable::registerObserver(countChained, 0);
}

void registerAndUnregisterAnother(int id) {
    IntervalTimerObservable::unregisterObserver(id);
    IntervalTimerObservable::unregisterObserver(
        IntervalTimerObservable::registerObserver(countChained, 0));
}

std::atomic<int> cycles{0};

void countCycle(int) {
    ++cycles;
}

// Leaves registrations behind that no cycle of the running timer comes to.
void registerUntilItStops(int) {
    ++cycles;
    while (IntervalTimerObservable::registerObserver(note, 0) != -1) {
        g_usleep(200);
    }
}

std::vector<int> order;  // of the timer's thread until the timer has stopped

void noteOrder(int id) {
    order.push_back(id);
}

template <typename Condition>
void waitFor(Condition condition) {
    while (!condition()) {
        g_usleep(200);
    }
}

class IntervalTimer : public testing::Test {
protected:
    IntervalTimer() {
        calls = 0;
        lastId = -2;
        selfRemovingCalls = 0;
        chainedCalls = 0;
        cycles = 0;
        order.clear();
        IntervalTimerObservable::initialize(1000);
    }
    ~IntervalTimer() override { IntervalTimerObservable::deinitialize(); }

    // Lets whole cycles pass, given that countCycle() is registered with an interval of 0.
    static void waitForWholeCycles() {
        const int before = cycles;
        waitFor([before] { return cycles >= before + 3; });
    }
};

TEST_F(IntervalTimer, NotifiesAnObserverWithItsIdAgainAndAgain) {
    const int id = IntervalTimerObservable::registerObserver(note, 2000);
    waitFor([] { return calls >= 3; });
    EXPECT_EQ(id, lastId);
}

TEST_F(IntervalTimer, DoesNotNotifyBeforeTheFirstIntervalHasPassed) {
    const long registered = g_get_monotonic_time();
    IntervalTimerObservable::registerObserver(note, 200000);
    waitFor([] { return calls >= 1; });
    EXPECT_GE(firstCallTime - registered, 200000);
}

TEST_F(IntervalTimer, NotifiesAtExactlyTheDueTimeAndDoesNotCatchUp) {
    FakeClock clock(1'000'000);
    IntervalTimerObservable::registerObserver(countCycle, 0);
    IntervalTimerObservable::registerObserver(note, 1000);
    clock.advance(999);
    waitForWholeCycles();
    EXPECT_EQ(0, calls);
    clock.advance(1);
    waitForWholeCycles();
    EXPECT_EQ(1, calls);
    clock.advance(10'000);
    waitForWholeCycles();
    EXPECT_EQ(2, calls);
}

TEST_F(IntervalTimer, NotifiesInTheOrderOfRegistrationAlsoWhenOneIsGone) {
    IntervalTimerObservable::registerObserver(countCycle, 0);
    const int first = IntervalTimerObservable::registerObserver(noteOrder, 0);
    const int second = IntervalTimerObservable::registerObserver(noteOrder, 0);
    const int third = IntervalTimerObservable::registerObserver(noteOrder, 0);
    waitForWholeCycles();
    IntervalTimerObservable::unregisterObserver(second);
    IntervalTimerObservable::unregisterObserver(second);
    waitForWholeCycles();
    IntervalTimerObservable::deinitialize();
    IntervalTimerObservable::initialize(1000);
    const std::vector<int> all{first, second, third};
    EXPECT_NE(order.end(), std::search(order.begin(), order.end(), all.begin(), all.end()));
    ASSERT_GE(order.size(), 2U);
    EXPECT_EQ((std::vector<int>{first, third}), std::vector<int>(order.end() - 2, order.end()));
}

TEST_F(IntervalTimer, GivesTheIdOfARemovedLastObserverAgain) {
    IntervalTimerObservable::registerObserver(countCycle, 0);
    const int last = IntervalTimerObservable::registerObserver(note, 0);
    waitForWholeCycles();
    IntervalTimerObservable::unregisterObserver(last);
    waitForWholeCycles();
    EXPECT_EQ(last, IntervalTimerObservable::registerObserver(note, 0));
}

TEST_F(IntervalTimer, CallsAnObserverThatRemovesItselfJustOnce) {
    IntervalTimerObservable::registerObserver(removeSelf, 0);
    waitFor([] { return selfRemovingCalls >= 1; });
    IntervalTimerObservable::registerObserver(note, 0);
    waitFor([] { return calls >= 3; });
    EXPECT_EQ(1, selfRemovingCalls);
}

TEST_F(IntervalTimer, TakesRegistrationsFromInsideANotification) {
    IntervalTimerObservable::registerObserver(registerAnother, 0);
    waitFor([] { return chainedCalls >= 2; });
}

TEST_F(IntervalTimer, UsesIdsAgainOnceTheListHasRunEmpty) {
    IntervalTimerObservable::registerObserver(removeSelf, 0);
    int again = -1;
    while (again != 0) {
        const int before = selfRemovingCalls;
        waitFor([] { return selfRemovingCalls >= 1; });
        g_usleep(5000);  // lets some cycles pass, so that the list runs empty
        again = IntervalTimerObservable::registerObserver(removeSelf, 0);
        waitFor([before] { return selfRemovingCalls > before; });
    }
    EXPECT_EQ(0, again);
}

TEST_F(IntervalTimer, HandlesTheRemovalAndTheRegistrationOfOneCycleInThatOrder) {
    // Removals come first, so one that overtakes its registration has nothing to remove.
    IntervalTimerObservable::registerObserver(registerAndUnregisterAnother, 0);
    waitFor([] { return chainedCalls >= 2; });
}

TEST_F(IntervalTimer, IgnoresUnknownIdsAndMinusOne) {
    IntervalTimerObservable::unregisterObserver(-1);
    IntervalTimerObservable::unregisterObserver(12345);
    IntervalTimerObservable::registerObserver(note, 0);
    waitFor([] { return calls >= 1; });
}

TEST_F(IntervalTimer, ForgetsAllObserversWhenItStops) {
    IntervalTimerObservable::registerObserver(note, 0);
    waitFor([] { return calls >= 1; });
    IntervalTimerObservable::deinitialize();
    IntervalTimerObservable::initialize(1000);
    const int before = calls;
    IntervalTimerObservable::registerObserver(countChained, 0);
    waitFor([] { return chainedCalls >= 2; });
    EXPECT_EQ(before, calls);
}

TEST_F(IntervalTimer, ForgetsObserversThatItHasNotComeToWhenItStops) {
    const SyslogCapture log;
    IntervalTimerObservable::registerObserver(registerUntilItStops, 0);
    waitFor([] { return cycles >= 1; });
    IntervalTimerObservable::deinitialize();
    IntervalTimerObservable::initialize(1000);
    IntervalTimerObservable::registerObserver(countCycle, 0);
    waitForWholeCycles();
    EXPECT_EQ(0, calls);
}

TEST_F(IntervalTimer, KeepsTheFirstTickAndLogsASecondStart) {
    SyslogCapture log;
    IntervalTimerObservable::initialize(1000000000);
    EXPECT_TRUE(log.has(LOG_WARNING, "Cannot initialize the IntervalTimerObservable twice\n"));
    IntervalTimerObservable::registerObserver(note, 0);
    waitFor([] { return calls >= 2; });
}

TEST_F(IntervalTimer, TakesRegistrationsFromManyThreads) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int k = 0; k < 200; ++k) {
                IntervalTimerObservable::unregisterObserver(
                    IntervalTimerObservable::registerObserver(note, 0));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(StoppedIntervalTimer, RefusesObserversAndLogs) {
    SyslogCapture log;
    EXPECT_EQ(-1, IntervalTimerObservable::registerObserver(note, 1000));
    IntervalTimerObservable::unregisterObserver(3);
    IntervalTimerObservable::deinitialize();
    EXPECT_THAT(
        log.lines(),
        testing::ElementsAre(
            SyslogCapture::Line{
                LOG_WARNING,
                "Cannot register an observer if the IntervalTimerObservable is not running\n"},
            SyslogCapture::Line{LOG_WARNING,
                                "Cannot deinitialize the IntervalTimerObservable if it has not "
                                "been initialized\n"}));
}

}  // namespace
