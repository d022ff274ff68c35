#include "overlay/external_overlay.h"

#include <syslog.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <vector>

#include "app/convert.h"
#include "app/status.h"
#include "app/utils.h"
#include "device/stream_settings.h"
#include "overlay/decimal_text.h"
#include "overlay/overlay_properties.h"

namespace {

constexpr int kGridHeight = 1080;
constexpr int kGridWidth = 1920;
constexpr float kTolerance = 1e-5F;

struct Margins {
    int top;
    int bottom;
};

int saturate(std::int64_t value) {
    return static_cast<int>(std::clamp<std::int64_t>(value, std::numeric_limits<int>::min(),
                                                     std::numeric_limits<int>::max()));
}

int scale(int size, int streamSize, int gridSize) {
    return saturate(std::int64_t{size} * streamSize / gridSize);
}

bool isPair(const std::string& position) {
    return position.find_first_of("x,") != std::string::npos;
}

Maybe<float> parseCoordinate(const std::string& text) {
    return utils::isNumber(text) ? Convert::stringToFloat(text.c_str()) : Maybe<float>();
}

bool isInPicture(float coordinate) {
    return coordinate >= -1.0F - kTolerance && coordinate <= 1.0F + kTolerance;
}

Margins findPlainMargins(const ExternalOverlay& overlay, const StreamSettings& settings) {
    if (!overlay.isScalable) {
        return {overlay.top, overlay.bottom};
    }
    const int size = settings.getRotationCorrectedHeight();
    return {scale(overlay.top, size, kGridHeight), scale(overlay.bottom, size, kGridHeight)};
}

int findScaledHeight(const ExternalOverlay& overlay, const StreamSettings& settings) {
    if (!overlay.isScalable) {
        return overlay.height;
    }
    const bool isUpright = settings.rotation == 0 || settings.rotation == 180;
    return scale(overlay.height, settings.getRotationCorrectedHeight(),
                 isUpright ? kGridHeight : kGridWidth);
}

Margins findCustomMargins(const ExternalOverlay& overlay, const StreamSettings& settings) {
    const std::int64_t size = settings.getRotationCorrectedHeight();
    const std::int64_t height = findScaledHeight(overlay, settings);
    const auto upperEdge =
        static_cast<std::int64_t>((overlay.customY + 1.0) * 0.5 * static_cast<double>(size));
    const std::int64_t lowerEdge = upperEdge + height;
    if (lowerEdge - height / 2 > size / 2) {
        return {0, saturate(size - lowerEdge + height)};
    }
    return {saturate(lowerEdge), 0};
}

Margins findMargins(const ExternalOverlay& overlay, const StreamSettings& settings) {
    if (overlay.type != ExternalOverlayText && overlay.type != ExternalOverlayImage) {
        return {overlay.top, overlay.bottom};
    }
    return overlay.isCustomPosition ? findCustomMargins(overlay, settings)
                                    : findPlainMargins(overlay, settings);
}

}  // namespace

void ExternalOverlay::setProperties(const OverlayProperties& properties) {
    try {
        const Maybe<int> newHeight = utils::parseDecimal(properties.height);
        utils::throwIf(!newHeight.hasValue(), "Failed to parse height: " + properties.height);
        const bool staysCustom = isCustomPosition && properties.position.empty();
        if (staysCustom || isPair(properties.position)) {
            handleCustomProperties(newHeight.get(), properties.position);
        } else {
            handleNonCustomProperties(newHeight.get(), properties.position);
        }
    } catch (const std::runtime_error& failure) {
        syslog(LOG_WARNING, "Could not set properties for overlay %d: %s\n", overlayId,
               failure.what());
    }
}

void ExternalOverlay::handleNonCustomProperties(int newHeight, const std::string& position) {
    // Meant to leave the height as it was, too.
    if (position.empty()) {
        return;
    }
    const bool isTop = position == "topleft" || position == "topright" || position == "top";
    const bool isBottom =
        position == "bottomleft" || position == "bottomright" || position == "bottom";
    utils::throwIf(!isTop && !isBottom, "Could not parse the position of the overlay: " + position);
    top = isTop ? newHeight : 0;
    bottom = isBottom ? newHeight : 0;
    height = newHeight;
    isCustomPosition = false;
}

void ExternalOverlay::handleCustomProperties(int newHeight, const std::string& position) {
    if (isCustomPosition && position.empty()) {
        height = newHeight;
        return;
    }
    const char separator = position.find('x') != std::string::npos ? 'x' : ',';
    const std::vector<std::string> pieces = utils::splitString(position, separator);
    const bool isPairOfTexts = pieces.size() == 2;
    const Maybe<float> x = isPairOfTexts ? parseCoordinate(pieces[0]) : Maybe<float>();
    const Maybe<float> y = isPairOfTexts ? parseCoordinate(pieces[1]) : Maybe<float>();
    const bool isValid =
        x.hasValue() && y.hasValue() && isInPicture(x.get()) && isInPicture(y.get());
    utils::throwIf(!isValid, "Failed to handle overlay property position string: " + position);
    height = newHeight;
    isCustomPosition = true;
    customY = y.get();
}

int ExternalOverlay::getTop(const StreamSettings& settings) const {
    return findMargins(*this, settings).top;
}

int ExternalOverlay::getBottom(const StreamSettings& settings) const {
    return findMargins(*this, settings).bottom;
}
