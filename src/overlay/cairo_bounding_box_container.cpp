#include "overlay/cairo_bounding_box_container.h"

#include <syslog.h>

#include <cstdint>

#include "device/stream_settings.h"
#include "device/transform.h"
#include "geometry/polygon.h"
#include "overlay/external_overlay_union.h"
#include "overlay/transform_cairo.h"
#include "tracking/tracking_object.h"

namespace {

constexpr std::int64_t kMicrosecondsPerSecond = 1000000;

CairoBoundingBox centre(const Transform::Cairo::PixelPair& pixel, int width, int height) {
    return {pixel.x - width / 2, pixel.y - height / 2, width, height};
}

/// Where a coordinate has come after some microseconds. Wraps: the age is what a scene says it is.
int moveOn(int from, int velocity, long age) {
    const std::uint64_t product =
        static_cast<std::uint64_t>(velocity) * static_cast<std::uint64_t>(age);
    const std::int64_t way = static_cast<std::int64_t>(product) / kMicrosecondsPerSecond;
    return static_cast<int>(from + way);
}

}  // namespace

void CairoBoundingBoxContainer::insert(int id, int x, int y, int width, int height,
                                       const StreamSettings& settings,
                                       const ExternalOverlayUnion& margins) {
    const Transform::Cairo::PixelPair pixel =
        Transform::Cairo::toPixelValue(x, y, settings, margins);
    const auto scaledWidth = static_cast<std::int16_t>(Transform::scaleSize(width, settings.width));
    const auto scaledHeight =
        static_cast<std::int16_t>(Transform::scaleSize(height, settings.height));
    CairoBoundingBox& box = boxes[id];
    switch (settings.rotation) {
        case 0:
        case 180:
            box = centre(pixel, scaledWidth, scaledHeight);
            break;
        case 90:
        case 270:
            box = centre(pixel, scaledHeight, scaledWidth);
            break;
        default:
            syslog(LOG_WARNING, "Unhandled rotation, value: %d\n", settings.rotation);
            box = {};
            break;
    }
}

void CairoBoundingBoxContainer::insert(const TrackingObject& object, const StreamSettings& settings,
                                       const long& age, const ExternalOverlayUnion& margins) {
    if (object.polygon == nullptr || boxes.contains(object.id)) {
        return;
    }
    const Point position = object.polygon->getCentroid();
    insert(object.id, moveOn(position.x, object.velocityX, age),
           moveOn(position.y, object.velocityY, age), object.polygon->width, object.polygon->height,
           settings, margins);
}
