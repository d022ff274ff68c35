#pragma once

#include <cstdint>
#include <string>

/// Which profile has visual confirmation running, and the group tag of its frames.
struct VC_Data {
    /// -1 for none.
    std::int32_t profileId = -1;
    std::string name;
};
