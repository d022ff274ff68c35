#pragma once

/// The margins that the overlays of others take at the top and bottom of the picture, in pixels. A
/// plain value.
struct ExternalOverlayUnion {
    friend bool operator==(const ExternalOverlayUnion&, const ExternalOverlayUnion&) = default;

    /// Takes the larger of each margin.
    void add(int otherTop, int otherBottom);
    void clear();
    /// Rounds each margin up to a multiple of 16.
    void adjustMarginToMacroBlockSize();

    int top = 0;
    int bottom = 0;
};
