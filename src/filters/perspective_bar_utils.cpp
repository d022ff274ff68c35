#include "filters/perspective_bar_utils.h"

#include <cmath>
#include <cstddef>

#include "app/status.h"
#include "filters/perspective_bar.h"

namespace {

// Scales nearer than this are equal.
constexpr float scaleTolerance = 0.00001F;

// At rotations 90 and 180 the coordinate runs towards the viewer: the greater one has the greater
// scale.
bool isAgainstGrowth(const PerspectiveBar& first, const PerspectiveBar& second) {
    return first.bottom > second.bottom ? first.scale <= second.scale : first.scale > second.scale;
}

// At the others the greater coordinate is further away and has the smaller scale.
bool isAgainstShrinking(const PerspectiveBar& first, const PerspectiveBar& second) {
    return second.bottom < first.bottom ? second.scale < first.scale : second.scale >= first.scale;
}

bool doContradict(const PerspectiveBar& first, const PerspectiveBar& second, int rotation) {
    const bool haveEqualScale = std::abs(first.scale - second.scale) < scaleTolerance;
    if (first.bottom == second.bottom) {
        return !haveEqualScale;
    }
    if (haveEqualScale) {
        return true;
    }
    return rotation == 90 || rotation == 180 ? isAgainstGrowth(first, second)
                                             : isAgainstShrinking(first, second);
}

}  // namespace

void perspectiveBarUtils::validatePerspectiveBars(const std::vector<PerspectiveBar>& bars,
                                                  int rotation) {
    utils::throwIf(bars.size() < 2, "There must be at least two perspective bars", StatusConflict);
    for (std::size_t i = 0; i < bars.size(); ++i) {
        for (std::size_t j = i + 1; j < bars.size(); ++j) {
            utils::throwIf(doContradict(bars[i], bars[j], rotation),
                           "One or more of the perspective bars have invalid values",
                           StatusConflict);
        }
    }
}
