#pragma once

/// The box of an object in the viewed picture, in full pixels from the upper left corner of the
/// band that is drawn into. A plain value.
struct CairoBoundingBox {
    friend bool operator==(const CairoBoundingBox&, const CairoBoundingBox&) = default;

    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};
