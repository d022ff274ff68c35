#include "app/termination.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

#include "support/own_process.h"

namespace {

GMutex mutex;
std::atomic<int> handled{0};
pthread_t mainThread;

void takeMutexAndCount(int) {
    g_mutex_lock(&mutex);
    if (pthread_equal(pthread_self(), mainThread) != 0) {
        _exit(3);
    }
    ++handled;
    g_mutex_unlock(&mutex);
}

void leave(int) {
    _exit(7);
}

void prepare() {
    mainThread = pthread_self();
    if (!Termination::deliverTo(takeMutexAndCount)) {
        _exit(2);
    }
}

void waitForHandled(int count) {
    while (handled < count) {
        g_usleep(100);
    }
}

TEST(Termination, RunsTheHandlerOnAThreadThatIsNotTheMainOne) {
    EXPECT_EQ(0, exitStatusOf([] {
                  prepare();
                  kill(getpid(), SIGTERM);
                  waitForHandled(1);
                  _exit(0);
              }));
}

TEST(Termination, DefersARequestWhileTheMainThreadHoldsTheMutexAndLosesNone) {
    EXPECT_EQ(0, exitStatusOf([] {
                  g_mutex_lock(&mutex);
                  prepare();
                  kill(getpid(), SIGTERM);
                  g_usleep(20000);
                  const bool deferred = handled == 0;
                  g_mutex_unlock(&mutex);
                  waitForHandled(1);
                  _exit(deferred ? 0 : 4);
              }));
}

TEST(Termination, TakesASecondRequestToo) {
    EXPECT_EQ(0, exitStatusOf([] {
                  prepare();
                  kill(getpid(), SIGTERM);
                  waitForHandled(1);
                  kill(getpid(), SIGTERM);
                  waitForHandled(2);
                  _exit(0);
              }));
}

TEST(Termination, LetsTheHandlerEndTheProcess) {
    EXPECT_EQ(7, exitStatusOf([] {
                  Termination::deliverTo(leave);
                  kill(getpid(), SIGTERM);
                  for (;;) {
                      g_usleep(1000);
                  }
              }));
}

TEST(Termination, LeavesOtherSignalsAlone) {
    EXPECT_EQ(128 + SIGINT, exitStatusOf([] {
                  signal(SIGINT, SIG_DFL);  // a shell's job in the background ignores it
                  prepare();
                  kill(getpid(), SIGINT);
                  g_usleep(10000000);
              }));
}

}  // namespace
