#pragma once

#include <string>

/// The style of an SVG element, with one colour ("#RRGGBB") for fill and stroke and the stroke's
/// width in units of the picture's half width.
std::string createSvgStyle(const std::string& colour, float fillOpacity, float strokeWidth);
