#pragma once

#include <cstdint>

/// A stopwatch on times that the caller passes in, in microseconds. It reads no clock.
class Timer {
public:
    explicit Timer(long duration);

    /// Starts at `now`; has no effect on a timer that is started.
    void start(const long& now);
    /// Starts at `now`, whether started or not.
    void restart(const long& now);
    void stop();

    /// Whether more than the duration has passed; false on a timer that is not started.
    bool reachedEnd(const long& now) const;

private:
    bool started = false;
    std::int64_t startTime = 0;
    std::int64_t duration;
};
