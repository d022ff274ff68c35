#pragma once

/// Holds GLib's monotonic clock still while it lives: g_get_monotonic_time(), called by the program
/// under test, gives the set time. Without one, the real clock goes on. GLib's own waits and timers
/// keep the real clock; the interval timer keeps its tick, and what is due goes by the fake one.
/// One at a time; any thread may read the clock meanwhile.
class FakeClock {
public:
    /// `now` in monotonic microseconds, 0 or more.
    explicit FakeClock(long now);
    ~FakeClock();
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    void set(long now);
    void advance(long microseconds);
    long now() const;
};
