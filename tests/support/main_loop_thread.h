#pragma once

#include <glib.h>

#include <thread>

/// The thread that runs the default main context.
class MainLoopThread {
public:
    MainLoopThread() : thread([this] { g_main_loop_run(loop); }) {
        while (g_main_loop_is_running(loop) == FALSE) {
            std::this_thread::yield();
        }
    }
    ~MainLoopThread() {
        g_main_loop_quit(loop);
        thread.join();
        g_main_loop_unref(loop);
    }
    MainLoopThread(const MainLoopThread&) = delete;
    MainLoopThread& operator=(const MainLoopThread&) = delete;

private:
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    std::thread thread;
};
