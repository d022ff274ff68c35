#include "overlay/cairo_handler.h"

#include <cstdint>

#include "device/stream_settings.h"
#include "geometry/polygon.h"
#include "overlay/cairo.h"
#include "overlay/cairo_bounding_box.h"
#include "overlay/external_overlay_union.h"
#include "overlay/transform_cairo.h"

namespace {

constexpr int kAlphaBytes = 2;
constexpr int kNoAntialiasing = 1;
/// A stroke takes the place of what is there.
constexpr int kReplace = 1;

constexpr double kDrawValue = 4.0 / 15.0;
constexpr double kEraseValue = 1.0 / 3.0;
constexpr int kDrawWidth = 2;
/// Meant to be wider than what is drawn.
constexpr int kEraseWidth = 4;

/// Both margins can be larger than the picture.
int findHeight(const StreamSettings& settings, const ExternalOverlayUnion& margins) {
    const std::int64_t picture = settings.height - settings.height % 16;
    const std::int64_t height = picture - margins.top - margins.bottom;
    return height > 0 ? static_cast<int>(height) : 0;
}

}  // namespace

CairoHandler::CairoHandler(const StreamSettings& settings, const ExternalOverlayUnion& margins) {
    const int bandWidth = settings.getRotationAndMacroBlockCorrectedWidth() / 2;
    // Meant to be the height as given at all rotations.
    const int bandHeight = findHeight(settings, margins);
    if (bandWidth <= 0 || bandHeight <= 0) {
        return;
    }
    width = bandWidth;
    height = bandHeight;
    surface = Cairo::imageSurfaceCreate(kAlphaBytes, width, height);
    context = Cairo::createContext(surface);
    Cairo::setAntialias(context, kNoAntialiasing);
    clearSurface();
    Cairo::setOperator(context, kReplace);
}

CairoHandler::~CairoHandler() {
    if (context != nullptr) {
        Cairo::destroyContext(context);
    }
    if (surface != nullptr) {
        Cairo::destroySurface(surface);
    }
}

void CairoHandler::drawObject(const CairoBoundingBox& box) {
    drawObject(box, kDrawValue, kDrawWidth);
}

void CairoHandler::drawObject(const CairoBoundingBox& box, double value, int lineWidth) {
    if (context == nullptr) {
        return;
    }
    setColor(value);
    Cairo::setLineWidth(context, lineWidth);
    const int x = box.x / 2;
    const int halfWidth = box.width / 2;
    Cairo::createRectangle(context, x, box.y, halfWidth, box.height);
    Cairo::stroke(context);
}

void CairoHandler::eraseObject(const CairoBoundingBox& box) {
    drawObject(box, kEraseValue, kEraseWidth);
}

void CairoHandler::drawPolygon(const Polygon& polygon, const StreamSettings& settings,
                               const ExternalOverlayUnion& margins) {
    drawPolygon(polygon, kDrawValue, kDrawWidth, settings, margins);
}

void CairoHandler::drawPolygon(const Polygon& polygon, double value, int lineWidth,
                               const StreamSettings& settings,
                               const ExternalOverlayUnion& margins) {
    if (context == nullptr) {
        return;
    }
    setColor(value);
    Cairo::setLineWidth(context, lineWidth);
    for (const Point& point : polygon.points) {
        const Transform::Cairo::PixelPair pixel =
            Transform::Cairo::toPixelValue(point.x, point.y, settings, margins);
        const int x = pixel.x / 2;
        Cairo::lineTo(context, x, pixel.y);
    }
    Cairo::closePath(context);
    Cairo::stroke(context);
}

void CairoHandler::erasePolygon(const Polygon& polygon, const StreamSettings& settings,
                                const ExternalOverlayUnion& margins) {
    drawPolygon(polygon, kEraseValue, kEraseWidth, settings, margins);
}

void CairoHandler::clearSurface() {
    if (context == nullptr) {
        return;
    }
    setColor(kEraseValue);
    Cairo::createRectangle(context, 0, 0, width, height);
    Cairo::contextFill(context);
}

void CairoHandler::flush() {
    if (surface != nullptr) {
        Cairo::surfaceFlush(surface);
    }
}

const unsigned char* CairoHandler::getData() const {
    return surface == nullptr ? nullptr : Cairo::imageSurfaceGetData(surface);
}

void CairoHandler::setColor(double value) {
    Cairo::setSource_RGBA(context, value, value, value, value);
}
