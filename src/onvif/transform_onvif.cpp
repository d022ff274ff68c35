#include "onvif/transform_onvif.h"

#include <syslog.h>

#include <cstdint>

#include "app/truncate.h"
#include "device/stream_settings.h"
#include "device/transform.h"

namespace {

constexpr double kUnit = 0.000244140625;  // 1 / 4096

std::int32_t toUnits(double coordinate) {
    return utils::truncateToInt(coordinate * 4096 + (coordinate > 0 ? 0.5 : -0.5));
}

Point cutTo16Bits(std::int32_t x, std::int32_t y) {
    return {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y)};
}

std::pair<double, double> normalise(std::int32_t x, std::int32_t y) {
    return {x * kUnit, y * kUnit};
}

void reportRotation(int rotation) {
    syslog(LOG_WARNING, "Unhandled rotation, value: %d\n", rotation);
}

}  // namespace

Point Transform::Onvif::toPixelValue(double x, double y, const StreamSettings& settings) {
    const auto alongWidth = [&](TransformOrientation_e orientation) {
        return Transform::toPixelValue(toUnits(x), settings.width, orientation);
    };
    const auto alongHeight = [&](TransformOrientation_e orientation) {
        return Transform::toPixelValue(toUnits(y), settings.height, orientation);
    };
    switch (settings.rotation) {
        case 0:
            return cutTo16Bits(alongWidth(TransformPlain), alongHeight(TransformPlain));
        case 90:
            return cutTo16Bits(alongHeight(TransformPlain), alongWidth(TransformFlipped));
        case 180:
            return cutTo16Bits(alongWidth(TransformFlipped), alongHeight(TransformFlipped));
        case 270:
            return cutTo16Bits(alongHeight(TransformFlipped), alongWidth(TransformPlain));
        default:
            reportRotation(settings.rotation);
            return {};
    }
}

// At 90 and 270 the axes are not exchanged back, on purpose.
std::pair<double, double> Transform::Onvif::fromPixelValue(int x, int y,
                                                           const StreamSettings& settings) {
    const auto alongWidth = [&](TransformOrientation_e orientation) {
        return Transform::fromPixelValue(x, settings.width, orientation);
    };
    const auto alongHeight = [&](TransformOrientation_e orientation) {
        return Transform::fromPixelValue(y, settings.height, orientation);
    };
    switch (settings.rotation) {
        case 0:
            return normalise(alongWidth(TransformPlain), alongHeight(TransformPlain));
        case 90:
            return normalise(alongHeight(TransformPlain), alongWidth(TransformFlipped));
        case 180:
            return normalise(alongWidth(TransformFlipped), alongHeight(TransformFlipped));
        case 270:
            return normalise(alongHeight(TransformFlipped), alongWidth(TransformPlain));
        default:
            reportRotation(settings.rotation);
            return {0.0, 0.0};
    }
}
