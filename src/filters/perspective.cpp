#include "filters/perspective.h"

#include <cmath>
#include <limits>

#include "app/truncate.h"
#include "filters/perspective_bar.h"

// The least squares line through (bottom, scale), all in single precision.
Perspective::Perspective(const std::vector<PerspectiveBar>& bars) {
    if (bars.empty()) {
        return;
    }
    const auto count = static_cast<float>(bars.size());
    float sumX = 0;
    float sumY = 0;
    for (const PerspectiveBar& bar : bars) {
        sumX += static_cast<float>(bar.bottom);
        sumY += bar.scale;
    }
    const float meanX = sumX / count;
    const float meanY = sumY / count;
    float sxx = 0;
    float sxy = 0;
    for (const PerspectiveBar& bar : bars) {
        const float dx = static_cast<float>(bar.bottom) - meanX;
        sxx = std::fma(dx, dx, sxx);
        sxy = std::fma(dx, bar.scale - meanY, sxy);
    }
    slope = sxy / sxx;
    offset = meanY - slope * meanX;
}

int Perspective::calculateRealWorldSize(int foot, int size) const {
    const float scale = slope * static_cast<float>(foot) + offset;
    if (std::isnan(scale)) {
        // The bars are all at one place and fit no line: everything is large enough.
        return std::numeric_limits<int>::max();
    }
    return utils::truncateToInt(static_cast<float>(size) / scale + 0.5F);
}
