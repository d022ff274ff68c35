#pragma once

#include <cstdint>

/// A mark in the picture of something whose real height is known.
class PerspectiveBar {
public:
    /// Picture coordinates of foot and head in scene units, on the axis that is upright; the
    /// real-world height.
    PerspectiveBar(int bottom, int top, int height);

    /// Whether this bar stands further up in the viewed picture.
    bool isAbove(const PerspectiveBar& other, int rotation) const;

    std::int32_t bottom;
    std::int32_t top;
    std::int32_t height;
    float scale;  ///< scene units per real-world unit
};
