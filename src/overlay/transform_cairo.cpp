#include "overlay/transform_cairo.h"

#include <syslog.h>

#include "device/stream_settings.h"
#include "device/transform.h"
#include "overlay/external_overlay_union.h"

namespace {

using Transform::Cairo::PixelPair;

PixelPair cut(std::int64_t x, std::int64_t y) {
    return {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y)};
}

}  // namespace

PixelPair Transform::Cairo::toPixelValue(int x, int y, const StreamSettings& settings,
                                         const ExternalOverlayUnion& margins) {
    const std::int32_t width = settings.width;
    const std::int32_t height = settings.height;
    const std::int64_t top = margins.top;
    switch (settings.rotation) {
        case 0:
            return cut(Transform::toPixelValue(x, width, TransformPlain),
                       Transform::toPixelValue(y, height, TransformFlipped) - top);
        case 90:
            return cut(Transform::toPixelValue(y, height, TransformPlain),
                       Transform::toPixelValue(x, width, TransformPlain) - top);
        case 180:
            return cut(Transform::toPixelValue(x, width, TransformFlipped),
                       Transform::toPixelValue(y, height, TransformPlain) - top);
        case 270:
            return cut(Transform::toPixelValue(y, height, TransformFlipped),
                       Transform::toPixelValue(x, width, TransformFlipped) - top);
        default:
            syslog(LOG_WARNING, "Unhandled rotation, value: %d\n", settings.rotation);
            return cut(0, -top);
    }
}

PixelPair Transform::Cairo::scaleSize(int width, int height, const StreamSettings& settings) {
    const std::int32_t scaledWidth = Transform::scaleSize(width, settings.width);
    const std::int32_t scaledHeight = Transform::scaleSize(height, settings.height);
    switch (settings.rotation) {
        case 0:
        case 180:
            return cut(scaledWidth, scaledHeight);
        case 90:
        case 270:
            return cut(scaledHeight, scaledWidth);
        default:
            syslog(LOG_WARNING, "Unhandled rotation, value: %d\n", settings.rotation);
            return {};
    }
}
