#pragma once

#include <cstdint>

/// The velocity of an object in scene units per second.
struct NoltVelocity {
    std::int32_t x = 0;
    std::int32_t y = 0;
};
