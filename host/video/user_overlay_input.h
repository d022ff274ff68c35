#pragma once

#include <map>
#include <string>

#include "video/overlay_snapshot.h"

/// Makes overlays of what persons ask for. All throw BusError for what makes no sense.
namespace UserOverlayInput {

using Options = std::map<std::string, std::string>;

/// Longest text, in bytes.
constexpr std::size_t kMostText = 512;
/// Greatest width and height, on the grid or in pixels.
constexpr int kMostSide = 8192;

/// Without an id. Options: "Camera", "Height", "Scalable".
UserOverlay makeText(const std::string& text, const std::string& position, const Options& options,
                     int cameras);

/// Without an id. The descriptor (borrowed) is of a PNG file, which is read from its beginning.
/// Options: "Camera", "Width", "Height", "Scalable"; a side that is not given keeps the image's
/// ratio.
UserOverlay makeImage(int descriptor, const std::string& position, const Options& options,
                      int cameras);

void checkPosition(const std::string& position);

/// An overlay from elsewhere, under the same rules.
void check(const UserOverlay& overlay, int cameras);

}  // namespace UserOverlayInput
