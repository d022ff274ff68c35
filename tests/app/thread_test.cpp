#include "app/thread.h"

#include <gtest/gtest.h>

#include <atomic>

namespace {

std::atomic<int> runs{0};

void* countRun(void*) {
    ++runs;
    return nullptr;
}

TEST(Thread, RunsTheFunctionAndIsJoined) {
    runs = 0;
    Thread thread;
    EXPECT_FALSE(thread.isRunning());
    thread.start(countRun, nullptr);
    EXPECT_TRUE(thread.isRunning());
    thread.join();
    EXPECT_EQ(1, runs);
}

TEST(Thread, DoesNotStartASecondTimeWhileRunning) {
    runs = 0;
    Thread thread;
    thread.start(countRun, nullptr);
    thread.start(countRun, nullptr);
    thread.join();
    EXPECT_EQ(1, runs);
}

TEST(Thread, StopOnlyClearsTheFlag) {
    Thread thread;
    thread.start(countRun, nullptr);
    thread.stop();
    EXPECT_FALSE(thread.isRunning());
    thread.join();
}

TEST(Thread, JoinWithoutAThreadReturns) {
    Thread thread;
    thread.join();
    EXPECT_FALSE(thread.isRunning());
}

TEST(Thread, DestructionDoesNotWait) {
    runs = 0;
    { Thread().start(countRun, nullptr); }
    while (runs == 0) {
        g_thread_yield();
    }
}

}  // namespace
