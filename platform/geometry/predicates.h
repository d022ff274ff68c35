#pragma once

#include "geometry/geometry.h"

/// Exact answers on the grid, for any 16-bit coordinates: differences take 17 bits and their
/// products 34, so all is reckoned in 64.
namespace predicates {

bool polygonsMeet(const gm_point* a, long aCount, const gm_point* b, long bCount);
bool polygonMeetsLine(const gm_point* polygon, long polygonCount, const gm_point* line,
                      long lineCount);
bool linesMeet(const gm_point* a, long aCount, const gm_point* b, long bCount);
bool isInside(gm_point point, const gm_point* polygon, long count);

}  // namespace predicates
