#pragma once

#include <cstdint>

namespace utils {

/// `percent` of the 8192 scene units that the view spans, rounded half away from zero.
std::int32_t percentOfViewToSceneUnits(int percent);

}  // namespace utils
