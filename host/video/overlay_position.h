#pragma once

#include <optional>
#include <string>

/// A place in the picture given as "X,Y": each from -1 (left, top) to 1.
struct OverlayPosition {
    double x;
    double y;

    /// None unless it is a pair of plain decimal numbers in that range.
    static std::optional<OverlayPosition> parse(const std::string& text);
    /// Whether it is one of "top", "topleft", "topright", "bottom", "bottomleft", "bottomright".
    static bool isName(const std::string& text);
};
