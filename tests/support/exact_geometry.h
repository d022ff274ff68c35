#pragma once

#include <cstdint>
#include <span>

/// Geometry in plain 128-bit arithmetic, by other ways than the code under test goes: equations
/// solved for their parameters instead of sides compared, rays that miss every vertex instead of
/// half-open ones. Slow and simple. Coordinates may carry a denominator of their own; whoever mixes
/// shapes brings them to one.
namespace exact_geometry {

__extension__ typedef __int128 Wide;

struct Vertex {
    std::int64_t x;
    std::int64_t y;
    friend bool operator==(const Vertex&, const Vertex&) = default;
};

using Outline = std::span<const Vertex>;

/// Whether the segments, ends included, have a point in common.
bool segmentsMeet(Vertex a, Vertex b, Vertex c, Vertex d);

bool isOnOutline(Vertex point, Outline outline);

/// How often the outline winds round a point that is not on it.
int windingNumber(Vertex point, Outline outline);

/// Whether the point is on the outline or the outline winds round it.
bool covers(Outline outline, Vertex point);

/// Whether two polygons have a point in common.
bool polygonsMeet(Outline a, Outline b);

/// Whether an open line and a polygon, or two open lines, have a point in common.
bool lineMeetsPolygon(Outline line, Outline polygon);
bool linesMeet(Outline a, Outline b);

/// Whether the square of `room` in each direction round the point meets the segment.
bool isNear(Vertex point, Vertex a, Vertex b, std::int64_t room);

/// Whether it meets any edge of the outline.
bool isNear(Vertex point, Outline outline, std::int64_t room);

}  // namespace exact_geometry
