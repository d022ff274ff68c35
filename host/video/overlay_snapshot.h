#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct Stream;

/// One colour of the overlay palette; alpha 255 hides the picture.
struct PaletteColor {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t alpha = 0;

    friend bool operator==(const PaletteColor&, const PaletteColor&) = default;
};

using Palette = std::array<PaletteColor, 16>;

/// An image of palette indices, two to a byte: the left pixel is in the upper
/// four bits. Its width is even. Never changed once it is shared.
struct PaletteImage {
    int width = 0;   ///< pixels
    int height = 0;  ///< pixels
    std::vector<std::uint8_t> pixels;
};

/// A palette image at its place in a stream's picture, in pixels from the upper
/// left.
struct PaletteBand {
    int left = 0;
    int top = 0;
    std::shared_ptr<const PaletteImage> image;
};

/// A text or an image that a person has put into the picture of a camera.
struct UserOverlay {
    enum class Kind { Text, Image };

    int id = 0;
    int camera = 1;
    Kind kind = Kind::Text;
    std::string text;                              ///< UTF-8, for Text
    std::shared_ptr<const std::string> imageFile;  ///< a PNG file's bytes, for Image
    /// "top", "topleft", "topright", "bottom", "bottomleft", "bottomright", or
    /// "X,Y": its upper left corner, each from -1 (left, top) to 1.
    std::string position;
    /// On a grid of 1080 lines if scalable, else in pixels. The width is 0 for a
    /// text: as wide as it comes out.
    int width = 0;
    int height = 0;
    bool isScalable = true;
};

/// All that lies over the picture of a stream at one moment, the lowest first:
/// user overlays are above the bands.
struct OverlaySnapshot {
    Palette palette;
    std::vector<PaletteBand> bands;
    std::vector<UserOverlay> users;
};

/// Knows what lies over the picture of each stream. Any thread may ask.
class OverlaySource {
public:
    virtual ~OverlaySource() = default;
    virtual OverlaySnapshot getSnapshot(const Stream& stream) const = 0;
};
