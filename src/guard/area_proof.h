#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "geometry/outline.h"
#include "geometry/point.h"

/// Proves for most outlines what clipping them with a protection area would give, without clipping.
///
/// On its way through the clipper an outline changes a little: vertices that two polygons share are
/// moved to free neighbours, and the corners of pieces are rounded to the grid at each clip. A
/// proof therefore leaves room: it holds for all outlines within that distance of the given ones.
/// What it cannot prove it leaves open. Made once for an area, then only read; asking allocates
/// nothing.
class AreaProof {
public:
    enum Answer {
        kOpen,
        kOutside,      ///< does not meet the include polygon
        kInside,       ///< meets it, and a piece remains whatever moves and rounds
        kNothingLeft,  ///< nothing of what lies in the include polygon, if anything does, remains
    };

    explicit AreaProof(const std::vector<Point>& includeArea);

    void addExcludeArea(const std::vector<Point>& excludeArea);

    Answer ask(const std::vector<Point>& outline) const;

private:
    struct Exclude {
        std::vector<Point> points;
        std::vector<Point> hull;
        Outline::Box box;
        bool isConvex;
    };
    struct Question;

    static bool covers(const Exclude& exclude, const Question& question);
    static bool isDeepInside(const Exclude& exclude, const Point& point, int room);

    Answer askNear(const std::vector<Point>& outline, const Outline::Box& box) const;
    bool prepare(Question& question) const;
    Answer askCorners(Question& question) const;
    bool isCoveredAtCorners(const Question& question, const Outline::CommonCorners& corners) const;
    bool hasWitnessBesideExcludes(const Question& question) const;
    bool hasWitnessAtCorners(const Question& question, const Outline::CommonCorners& corners) const;
    bool hasWitnessOnWay(const Question& question, const Point& from, const Point& to) const;
    bool isWitness(const Question& question, const Point& point) const;

    std::vector<Point> include;
    std::vector<Point> includeHull;
    Outline::Box includeBox{};
    bool isIncludeSimple = false;
    std::vector<Exclude> excludes;
    std::size_t vertexCount;
    int widestRoom = 0;
    bool isUsable;
};
