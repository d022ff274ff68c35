#pragma once

#include "engine/clock.h"

/// A clock that is always at the time somebody waits for, and stops the engine at its end.
class JumpingClock : public Clock {
public:
    JumpingClock(std::int64_t begin, std::int64_t stopAt) : time(begin), end(stopAt) {}

    std::int64_t now() const override { return time; }
    bool waitUntil(std::int64_t until) override {
        if (until >= end) {
            return false;
        }
        if (until > time) {
            time = until;
        }
        return true;
    }

    /// Lets time pass by itself, as slow work does.
    void pass(std::int64_t nanoseconds) { time += nanoseconds; }

private:
    std::int64_t time;
    const std::int64_t end;
};
