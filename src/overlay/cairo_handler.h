#pragma once

class Polygon;
struct CairoBoundingBox;
struct ExternalOverlayUnion;
struct StreamSettings;
struct _cairo;
struct _cairo_surface;

/// The image that alarm graphics are drawn on: one band of the viewed picture between the margins.
///
/// The image is of palette indices, two pixels a byte, which the drawing library does not know. So
/// it has one alpha byte for two pixels: half the width, and an alpha of 4/15 or 1/3 is the byte
/// 0x44 or 0x55. Index 4 is what shapes are drawn in, index 5 is transparent.
///
/// The drawing library must be open from construction to destruction. One thread at a time.
class CairoHandler {
public:
    /// A blank image. Settings and margins that leave no room give none: nothing can be drawn then.
    CairoHandler(const StreamSettings& settings, const ExternalOverlayUnion& margins);
    ~CairoHandler();
    CairoHandler(const CairoHandler&) = delete;
    CairoHandler& operator=(const CairoHandler&) = delete;

    void drawObject(const CairoBoundingBox& box);
    /// With a line of so many half-width pixels, in a colour that fills all channels with `value`.
    void drawObject(const CairoBoundingBox& box, double value, int lineWidth);
    /// Leaves nothing of a box drawn before; what touches it loses a pixel at most.
    void eraseObject(const CairoBoundingBox& box);

    /// A polygon in scene space.
    void drawPolygon(const Polygon& polygon, const StreamSettings& settings,
                     const ExternalOverlayUnion& margins);
    void drawPolygon(const Polygon& polygon, double value, int lineWidth,
                     const StreamSettings& settings, const ExternalOverlayUnion& margins);
    void erasePolygon(const Polygon& polygon, const StreamSettings& settings,
                      const ExternalOverlayUnion& margins);

    /// Makes the whole image transparent.
    void clearSurface();
    /// Completes what has been drawn, so that the pixels can be read.
    void flush();

    /// The pixels, borrowed, row by row without gaps, a byte for two of the picture's; null without
    /// an image.
    const unsigned char* getData() const;
    /// Bytes a row.
    int getWidth() const { return width; }
    int getHeight() const { return height; }

private:
    void setColor(double value);

    _cairo_surface* surface = nullptr;  // owned
    _cairo* context = nullptr;          // owned
    int width = 0;
    int height = 0;
};
