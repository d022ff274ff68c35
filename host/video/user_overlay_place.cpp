#include "video/user_overlay_place.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "video/overlay_position.h"
#include "video/overlay_snapshot.h"
#include "video/stream.h"

namespace {

constexpr int gridLines = 1080;
constexpr int gridLinesOnSide = 1920;

// Coordinates count in single precision, as for whoever counts with the room that overlays take.
int toPixel(double coordinate, int size) {
    return static_cast<int>((static_cast<float>(coordinate) + 1.0) * 0.5 * size);
}

}  // namespace

int UserOverlayPlace::toPixels(int size, const UserOverlay& overlay, const Stream& stream) {
    if (!overlay.isScalable) {
        return size;
    }
    const bool isOnSide = !stream.isUpright() && !OverlayPosition::isName(overlay.position);
    const std::int64_t scaled =
        std::int64_t{size} * stream.shownHeight() / (isOnSide ? gridLinesOnSide : gridLines);
    return static_cast<int>(
        std::clamp<std::int64_t>(scaled, 0, std::numeric_limits<std::int32_t>::max()));
}

std::optional<UserOverlayPlace::Point> UserOverlayPlace::findCorner(const UserOverlay& overlay,
                                                                    const Stream& stream,
                                                                    Size size) {
    const std::string& position = overlay.position;
    if (const auto pair = OverlayPosition::parse(position)) {
        return Point{toPixel(pair->x, stream.shownWidth()), toPixel(pair->y, stream.shownHeight())};
    }
    if (!OverlayPosition::isName(position)) {
        return {};
    }
    const int rest = stream.shownWidth() - size.width;
    const bool isLeft = position.ends_with("left");
    const bool isRight = position.ends_with("right");
    return Point{isLeft ? 0 : (isRight ? rest : rest / 2),
                 position.starts_with("top") ? 0 : stream.shownHeight() - size.height};
}
