#pragma once

#include <array>
#include <cstdint>

#include "video/blend_color.h"
#include "video/overlay_snapshot.h"

struct AVFrame;
struct OverlayPatch;

/// Lays overlays over a yuv420p picture.
///
/// With a picture P, a colour C and its alpha a, a pixel becomes (P * (255 - a) + C * a) / 255,
/// rounded to the nearest. The colour differences of a block of 2 x 2 pixels are blended with those
/// of all its pixels, each by its alpha; a pixel that is not covered counts with alpha 0. What
/// stands out of the picture is left out. Where every alpha is 0, nothing is read or written.
///
/// Used from one thread.
class Composer {
public:
    /// For the bands that follow; at first each colour leaves the picture alone.
    void setPalette(const Palette& palette);

    /// An image whose pixels are fewer than its size says is left out.
    void blend(const PaletteBand& band, AVFrame& picture) const;
    void blend(const OverlayPatch& patch, AVFrame& picture) const;

private:
    std::array<BlendColor, 16> colors;
    std::array<bool, 256> isClear = makeAllClear();  ///< for each pair of indices

    static std::array<bool, 256> makeAllClear();
};
