#include "filters/perspective_bar.h"

#include <cstdlib>

PerspectiveBar::PerspectiveBar(int footCoordinate, int headCoordinate, int realHeight)
    : bottom(footCoordinate),
      top(headCoordinate),
      height(realHeight),
      scale(static_cast<float>(std::abs(top - bottom)) / static_cast<float>(height)) {}

bool PerspectiveBar::isAbove(const PerspectiveBar& other, int rotation) const {
    const bool runsDownwards = rotation == 90 || rotation == 180;
    return runsDownwards ? bottom < other.bottom : bottom > other.bottom;
}
