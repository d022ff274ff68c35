#pragma once

#include <glib.h>

#include <functional>
#include <utility>

/// Lets something happen before each lock of a GMutex by this thread, for as long as it lives. One
/// at a time on a thread.
class LockHook {
public:
    using Function = std::function<void(GMutex* mutex)>;

    explicit LockHook(Function function) : beforeLock(std::move(function)) { present = this; }
    ~LockHook() { present = nullptr; }
    LockHook(const LockHook&) = delete;
    LockHook& operator=(const LockHook&) = delete;

    /// What the hook itself locks does not call it.
    static void run(GMutex* mutex) {
        if (LockHook* hook = std::exchange(present, nullptr)) {
            hook->beforeLock(mutex);
            present = hook;
        }
    }

private:
    static inline thread_local LockHook* present = nullptr;

    const Function beforeLock;
};
