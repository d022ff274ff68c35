#pragma once

#include <cstdint>

#include "geometry/geometry.h"

/// What can be measured and moved of one polygon. Results as in the library's contract.
namespace measures {

int area(std::int64_t* result, const gm_point* polygon, long count);
int centroid(gm_point* result, const gm_point* polygon, long count);
int scale(gm_point* points, long count, std::int64_t xFactor, std::int64_t yFactor);

}  // namespace measures
