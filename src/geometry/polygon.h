#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "geometry/geometry.h"
#include "geometry/point.h"

class PolygonContainer;
class Polyline;

/// A closed outline in scene space with its cached bounding box: a plain value. Which operations
/// compute the box and which leave it alone is told at each of them. Questions of geometry go to
/// the device's geometry library.
class Polygon {
public:
    /// The outline of `count` interleaved points; always gives at least three vertices. Short input
    /// is repaired with the steps of findNewPoints(), and then the box, width and height stay 0:
    /// none (or null): the triangle (0, 0), (0, 1), (1, 0);
    /// one point: the point, the point moved in both directions, the point moved in x;
    /// two equal points: both, and the two moved points as for one;
    /// two different points: both, and the second one moved in both directions.
    Polygon(const short* xy, int count);

    /// The box of this size with its lower left corner at centre - size / 2 (truncated).
    Polygon(const Point& centre, short boxWidth, short boxHeight);

    /// The box with these edges.
    Polygon(int left, int right, int low, int high);

    /// One or two vertices without a box: good for intersection tests only.
    explicit Polygon(const Point& point);
    Polygon(const Point& from, const Point& to);

    /// Takes over `count` interleaved points as they are and computes box, width and height; with
    /// no points the box is inside out. Does nothing with null.
    void initialize(const short* xy, int count);

    /// Moves all vertices so that the centroid (or the first vertex where there is none) comes to
    /// lie on the target, with 16-bit wrap-around. The box stays where it was.
    void moveTo(const Point& target);

    /// A copy that the caller owns.
    Polygon* clone() const;

    /// A copy, owned by the caller, scaled by the factor about the centroid. The box stays that of
    /// this polygon. A failure to scale is logged and gives an unscaled copy.
    Polygon* createScaledCopy(float scale) const;

    /// The centre of gravity; the first vertex where there is none.
    Point getCentroid() const;

    /// In squared scene units; 0 where there is none.
    std::int32_t getPolygonArea() const;

    /// Whether both are the same cycle of vertices, in either direction and from any start.
    bool operator==(const Polygon& other) const;

    /// The index of the first vertex that equals the point, or -1.
    int findPosition(const Point& point) const;

    /// Whether the two overlap or touch.
    bool doesIntersect(const Polygon& other) const;
    bool doesIntersect(const Polyline& line) const;

    /// Whether every vertex of the other lies in this polygon; edges are not looked at.
    bool isPolygonInside(const Polygon& other) const;

    /// Appends the pieces that this polygon and the other have in common.
    void intersect(const Polygon& other, PolygonContainer& out) const;

    /// Appends the pieces that remain of this polygon when the other is cut out of it.
    void cutOff(const Polygon& other, PolygonContainer& out) const;

    /// Clips with a copy of the clip polygon whose vertices have been made unique among both
    /// polygons, and appends the pieces. Without a result, and on failure, `out` stays as it is.
    void gmClipWrapper(const Polygon& subject, const Polygon& clip, gm_clip_e mode,
                       PolygonContainer& out) const;

    /// An SVG polygon element, in units of 4096 with three decimals: the vertices, or the corners
    /// of the box. An empty style is left out.
    std::string toStringSvg(const std::string& style, const std::string& cssClass) const;
    std::string toBoundingBoxStringSvg(const std::string& style, const std::string& cssClass) const;

    /// Dumps the polygon to standard output.
    void print() const;

    /// Stores in `out` the point moved by one towards the centre in x and y, and, if `count` is 2,
    /// behind it the point moved in x only. Does nothing with null.
    static void findNewPoints(short x, short y, short* out, int count);

    /// Whether all points are the same one; false for null and for fewer than two points.
    static bool areArrayPointsEqual(const short* xy, int count);

    /// Moves each vertex of the clip polygon that occurs in the subject or earlier in the clip
    /// polygon itself to the closest free grid point.
    static void adjustDuplicates(const Polygon& subject, Polygon& clip);

    /// The closest grid point in the picture that is not used, by square rings around the point:
    /// top and bottom edge alternating from left to right, then left and right edge upwards.
    static Point findClosestNonDuplicate(const Point& point, const std::set<Point>& used);

    std::vector<Point> points;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int16_t minX = 0;
    std::int16_t minY = 0;
    std::int16_t maxX = 0;
    std::int16_t maxY = 0;

private:
    void repair(const short* xy, int count);
    void computeExtent();
    void translate(const Point& from, const Point& to);
};
