#pragma once

#include <utility>

#include "geometry/point.h"

struct StreamSettings;

/// Normalised coordinates of a configuration, -1.0..1.0, to pixels of a client's stream and back.
///
/// All in 32-bit integers that truncate towards zero and wrap. Width and height are taken as given.
/// The two directions are inverse to each other at rotations 0 and 180 only, and that is meant: at
/// 90 and 270 a point that goes there and back comes back negated on a square stream, and scaled by
/// the ratio of the sides on any other. A rotation that is none of the four is logged and gives 0.
namespace Transform::Onvif {

/// The pixel of a normalised point, cut to 16 bits.
Point toPixelValue(double x, double y, const StreamSettings& settings);

/// The normalised x and y of a pixel, in steps of 1 / 4096; 0 along a side of length 0.
std::pair<double, double> fromPixelValue(int x, int y, const StreamSettings& settings);

}  // namespace Transform::Onvif
