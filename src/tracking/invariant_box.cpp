#include "tracking/invariant_box.h"

#include <syslog.h>

#include <algorithm>

#include "app/truncate.h"
#include "app/utils.h"
#include "geometry/polygon.h"

namespace {

// Coordinates are kept in 16 bits; what goes beyond wraps.
std::int16_t wrap(int value) {
    return static_cast<std::int16_t>(value);
}

}  // namespace

InvariantBox::InvariantBox(int boxWidth, int boxHeight, int cameraRotation, float ratio)
    : width(boxWidth), height(boxHeight), rotation(cameraRotation), aspectRatio(ratio) {
    if (!utils::isValidCameraRotation(rotation)) {
        syslog(LOG_WARNING, "Unexpected camera rotation %d\n", rotation);
    }
}

void InvariantBox::update(int newWidth, int newHeight) {
    width = newWidth;
    height = newHeight;
}

void InvariantBox::merge(const InvariantBox& other) {
    if (aspectRatio != other.aspectRatio || rotation != other.rotation) {
        syslog(LOG_WARNING,
               "Cannot merge two Invariant boxes with different aspect ratio or image rotation,"
               "box 1: aspect ratio = %f image rotation = %i - "
               "box 2: aspect ratio = %f image rotation = %i\n",
               static_cast<double>(aspectRatio), rotation, static_cast<double>(other.aspectRatio),
               other.rotation);
        return;
    }
    width = std::max(width, other.width);
    height = std::max(height, other.height);
}

bool InvariantBox::isUprightOrInverted() const {
    return rotation == 0 || rotation == 180;
}

int InvariantBox::getWidth() const {
    return isUprightOrInverted() ? width : height;
}

int InvariantBox::getHeight() const {
    return isUprightOrInverted() ? height : width;
}

int InvariantBox::getAspectCorrectedWidth() const {
    const float corrected = isUprightOrInverted() ? aspectRatio * static_cast<float>(width)
                                                  : static_cast<float>(height) / aspectRatio;
    return utils::truncateToInt(corrected + 0.5F);
}

int InvariantBox::getAspectCorrectedHeight() const {
    return getHeight();
}

int InvariantBox::getFootPositionValue(Point centre) const {
    switch (rotation) {
        case 90:
            return centre.x + width / 2;
        case 180:
            return centre.y + height / 2;
        case 270:
            return centre.x - width / 2;
        default:
            return centre.y - height / 2;
    }
}

Point InvariantBox::getViewedLowerLeft(Point centre) const {
    const std::int16_t left = wrap(centre.x - width / 2);
    const std::int16_t right = wrap(centre.x + width / 2);
    const std::int16_t low = wrap(centre.y - height / 2);
    const std::int16_t high = wrap(centre.y + height / 2);
    switch (rotation) {
        case 90:
            return {right, low};
        case 180:
            return {right, high};
        case 270:
            return {left, high};
        default:
            return {left, low};
    }
}

Polygon* InvariantBox::getFootBox(Point centre) const {
    int left = centre.x - width / 2;
    int right = centre.x + width / 2;
    int low = centre.y - height / 2;
    int high = centre.y + height / 2;
    switch (rotation) {
        case 90:
            left = centre.x + width / 4;
            break;
        case 180:
            low = centre.y + height / 4;
            break;
        case 270:
            right = centre.x - width / 4;
            break;
        default:
            high = centre.y - height / 4;
            break;
    }
    return new Polygon(left, right, low, high);
}

std::string InvariantBox::toString() const {
    return "{width: " + std::to_string(getWidth()) + ", height: " + std::to_string(getHeight()) +
           "}";
}
