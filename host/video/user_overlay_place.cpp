#include "video/user_overlay_place.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "video/overlay_snapshot.h"
#include "video/stream.h"

namespace {

constexpr int gridLines = 1080;
constexpr int gridLinesOnSide = 1920;

struct Pair {
    float x;
    float y;
};

bool isPair(const std::string& position) {
    return position.find_first_of("x,") != std::string::npos;
}

std::optional<float> parseCoordinate(const std::string& text) {
    constexpr const char* digits = "0123456789";
    const bool isNumber = text.find_first_of(digits) != std::string::npos &&
                          text.find_first_not_of("+-.0123456789") == std::string::npos;
    char* end = nullptr;
    const float value = std::strtof(text.c_str(), &end);
    constexpr float tolerance = 1e-5F;
    const bool isValid = isNumber && *end == '\0' && std::abs(value) <= 1.0F + tolerance;
    return isValid ? std::optional(value) : std::nullopt;
}

std::optional<Pair> parsePair(const std::string& position) {
    const std::size_t separator = position.find_first_of("x,");
    const auto x = parseCoordinate(position.substr(0, separator));
    const auto y = parseCoordinate(position.substr(separator + 1));
    return x && y ? std::optional(Pair{*x, *y}) : std::nullopt;
}

int toPixel(float coordinate, int size) {
    return static_cast<int>((coordinate + 1.0) * 0.5 * size);
}

}  // namespace

int UserOverlayPlace::toPixels(int size, const UserOverlay& overlay, const Stream& stream) {
    if (!overlay.isScalable) {
        return size;
    }
    const bool isOnSide = isPair(overlay.position) && !stream.isUpright();
    const std::int64_t scaled =
        std::int64_t{size} * stream.shownHeight() / (isOnSide ? gridLinesOnSide : gridLines);
    return static_cast<int>(
        std::clamp<std::int64_t>(scaled, 0, std::numeric_limits<std::int32_t>::max()));
}

std::optional<UserOverlayPlace::Point> UserOverlayPlace::findCorner(const UserOverlay& overlay,
                                                                    const Stream& stream,
                                                                    Size size) {
    const std::string& position = overlay.position;
    if (isPair(position)) {
        const auto pair = parsePair(position);
        return pair ? std::optional(Point{toPixel(pair->x, stream.shownWidth()),
                                          toPixel(pair->y, stream.shownHeight())})
                    : std::nullopt;
    }
    const bool isTop = position.starts_with("top");
    const std::string side = position.substr(std::min<std::size_t>(position.size(), isTop ? 3 : 6));
    const bool isKnown = (isTop || position.starts_with("bottom")) &&
                         (side.empty() || side == "left" || side == "right");
    if (!isKnown) {
        return {};
    }
    const int rest = stream.shownWidth() - size.width;
    return Point{side == "left"    ? 0
                 : side == "right" ? rest
                                   : rest / 2,
                 isTop ? 0 : stream.shownHeight() - size.height};
}
