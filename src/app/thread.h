#pragma once

#include <glib.h>

#include <atomic>

/// A thread's handle with a flag that asks it to end. Stopping only clears the flag; joining waits.
///
/// start() and join() belong to one owner. `running` may be read and stop() called from any thread.
class Thread {
public:
    Thread() = default;

    /// Asks the thread to end; neither waits nor interrupts anything.
    virtual void stop();

    /// Gives a handle that was never joined back, without waiting for its thread.
    virtual ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Runs `function(data)` on a new thread; does nothing while `running`.
    void start(void* (*function)(void*), void* data);

    /// Waits for the thread, if there is one, and forgets it.
    void join();

    bool isRunning() const { return running; }

protected:
    GThread* thread = nullptr;
    std::atomic<bool> running{false};
};
