#pragma once

#include <cstdint>

/// Time as the sources see it, in nanoseconds on the monotonic clock. Tests put their own in its
/// place.
class Clock {
public:
    virtual ~Clock() = default;
    virtual std::int64_t now() const = 0;
    /// Waits until `time`, not at all if that has passed. False, at once, when the engine is to
    /// stop.
    virtual bool waitUntil(std::int64_t time) = 0;
};
