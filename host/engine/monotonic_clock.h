#pragma once

#include "engine/clock.h"

class StopSignal;

/// The machine's monotonic clock. May be used by several threads at once.
class MonotonicClock : public Clock {
public:
    /// `signal` is borrowed: raised, it ends every wait.
    explicit MonotonicClock(const StopSignal& signal) : stop(signal) {}

    std::int64_t now() const override;
    bool waitUntil(std::int64_t time) override;

    /// Waits until `descriptor` can be read or has ended, at most until `time`. True if it can or
    /// has; false at the time, or when the engine is to stop.
    bool waitReadable(int descriptor, std::int64_t time);

    /// Whether the engine is to stop.
    bool isStopped() const;

private:
    const StopSignal& stop;
};
