#pragma once

#include <glib.h>

#include <atomic>
#include <cstdint>
#include <vector>

class IntervalTimerObserverData;

/// The process-wide interval timer: one thread that calls registered functions at fixed intervals.
///
/// Any thread may register and unregister at any moment, also from inside a notification: both take
/// effect at the next cycle. Callbacks run on the timer's thread with no lock of the timer held, so
/// they may take any lock. A notification comes at the first cycle at or behind its due time.
///
/// States: Stopped -> initialize() -> Running -> deinitialize() -> Stopped.
class IntervalTimerObservable {
public:
    IntervalTimerObservable() = delete;

    /// Starts the thread with `tick` microseconds between cycles. While it runs already, logs and
    /// changes nothing.
    static void initialize(int tick);

    /// Ends the thread, waiting for a cycle in progress, and forgets all observers. Logs when not
    /// running.
    static void deinitialize();

    /// Calls `callback(id)` every `interval` microseconds from now on. Returns the id, or -1 when
    /// not running. Ids are used again once they are free.
    static int registerObserver(void (*callback)(int), long interval);

    /// At most one more call comes after this. An unknown id and -1 have no effect.
    static void unregisterObserver(int id);

private:
    static void* run(void*);
    static void runCycle();
    static void applyPending();
    static void removeUnregistered();

    static GRecMutex mutex;
    static std::atomic<bool> isRunning;
    /// Touched by the timer's thread alone while it runs. Owned.
    static std::vector<IntervalTimerObserverData*> activeObservers;
    /// Guarded by mutex.
    static std::vector<std::int32_t> pendingUnregistrations;
    /// Guarded by mutex. Owned.
    static std::vector<IntervalTimerObserverData*> pendingRegistrations;
    static std::atomic<std::int32_t> nextId;
    static int tick;
    static GThread* thread;
};
