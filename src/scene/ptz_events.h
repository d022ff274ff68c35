#pragma once

#include <cstdint>

/// The camera has arrived at a preset or leaves it.
struct PTZ_PresetEvent {
    bool onPreset;
    /// -1 for no preset: such an event is ignored.
    std::int32_t presetToken;
    /// Monotonic microseconds.
    std::int64_t timestamp;
};

/// The camera starts or ends a movement.
struct PTZ_MovementEvent {
    bool isMoving;
    /// Monotonic microseconds.
    std::int64_t timestamp;
};
