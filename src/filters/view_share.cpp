#include "filters/view_share.h"

std::int32_t utils::percentOfViewToSceneUnits(int percent) {
    const double units = 2.0 * percent / 100.0 * 4096.0;
    return static_cast<std::int32_t>(units + (units > 0.0 ? 0.5 : -0.5));
}
