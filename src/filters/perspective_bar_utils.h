#pragma once

#include <vector>

class PerspectiveBar;

namespace perspectiveBarUtils {

/// Throws StatusException with StatusConflict unless there are at least two bars and each pair
/// agrees: at one place of equal scale, at different places smaller the further away.
void validatePerspectiveBars(const std::vector<PerspectiveBar>& bars, int rotation);

}  // namespace perspectiveBarUtils
