#pragma once

#include <optional>

struct Stream;
struct UserOverlay;

/// Where a person's overlay lies in the picture of a stream. Whoever counts with the room that
/// overlays take finds the same.
namespace UserOverlayPlace {

/// In pixels seen.
struct Point {
    int x;
    int y;
};
struct Size {
    int width;
    int height;
};

/// The overlay's own height or width in pixels: on the grid of 1080 lines if it is scalable, at a
/// place "X,Y" of a picture that is turned by 90 or 270 degrees on one of 1920 lines.
int toPixels(int size, const UserOverlay& overlay, const Stream& stream);

/// The upper left corner of an overlay that is so large; none for a position that is not known.
std::optional<Point> findCorner(const UserOverlay& overlay, const Stream& stream, Size size);

}  // namespace UserOverlayPlace
