#include "app/thread.h"

Thread::~Thread() {
    if (thread != nullptr) {
        g_thread_unref(thread);
    }
}

void Thread::start(void* (*function)(void*), void* data) {
    if (running) {
        return;
    }
    running = true;
    thread = g_thread_new(nullptr, function, data);
}

void Thread::join() {
    if (thread != nullptr) {
        g_thread_join(thread);
        thread = nullptr;
    }
}

void Thread::stop() {
    running = false;
}
