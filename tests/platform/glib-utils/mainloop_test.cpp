#include "glib-utils/mainloop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <future>
#include <thread>

namespace {

/// Runs `work` on the default main context and gives what it returns.
template <typename Work>
auto onMainContext(Work work) {
    using Task = std::packaged_task<decltype(work())()>;
    auto* task = new Task(std::move(work));
    auto result = task->get_future();
    GSource* source = g_idle_source_new();
    g_source_set_callback(
        source,
        [](gpointer data) -> gboolean {
            (*static_cast<Task*>(data))();
            return G_SOURCE_REMOVE;
        },
        task, [](gpointer data) { delete static_cast<Task*>(data); });
    g_source_attach(source, nullptr);
    g_source_unref(source);
    return result.get();
}

}  // namespace

TEST(MainloopStart, RunsTheDefaultMainContextOnAThreadOfItsOwn) {
    mainloop_start("KTW", "Tarnwatch", "DeviceAppHost");

    const auto thread = onMainContext([] { return std::this_thread::get_id(); });
    EXPECT_NE(thread, std::this_thread::get_id());
    EXPECT_EQ(onMainContext([] { return std::this_thread::get_id(); }), thread);
    EXPECT_FALSE(g_main_context_acquire(nullptr)) << "it is the thread's";
}

TEST(MainloopStart, StartsOnce) {
    mainloop_start("KTW", "Tarnwatch", "DeviceAppHost");
    const auto thread = onMainContext([] { return std::this_thread::get_id(); });
    mainloop_start("KTW", "Tarnwatch", "DeviceAppHost");
    for (int round = 0; round < 10; ++round) {
        EXPECT_EQ(onMainContext([] { return std::this_thread::get_id(); }), thread);
    }
}

TEST(MainloopStart, LeavesSignalsToTheApplication) {
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    mainloop_start("KTW", "Tarnwatch", "DeviceAppHost");

    EXPECT_TRUE(onMainContext([] {
        sigset_t set;
        pthread_sigmask(SIG_SETMASK, nullptr, &set);
        return sigismember(&set, SIGTERM) == 1;
    }));
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    EXPECT_EQ(sigismember(&after, SIGTERM), sigismember(&before, SIGTERM));
}
