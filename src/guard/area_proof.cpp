#include "guard/area_proof.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

using Outline::Box;
using Outline::Where;

// Areas and outlines with more vertices are left to the clipper.
constexpr std::size_t kMostAreaVertices = 512;
constexpr std::size_t kMostOutlineVertices = 64;

// Further from the picture's border than any vertex moves.
constexpr Box kClearOfBorder{-4096 + 64, -4096 + 64, 4096 - 64, 4096 - 64};

bool isProvable(const std::vector<Point>& points) {
    return points.size() >= 3 && points.size() <= kMostAreaVertices &&
           Outline::boxOf(points).isInPicture();
}

Point middle(const Box& box) {
    return {static_cast<std::int16_t>((box.minX + box.maxX) / 2),
            static_cast<std::int16_t>((box.minY + box.maxY) / 2)};
}

Point between(const Point& from, const Point& to, int part, int whole) {
    return {static_cast<std::int16_t>(from.x + (to.x - from.x) * part / whole),
            static_cast<std::int16_t>(from.y + (to.y - from.y) * part / whole)};
}

// How far a vertex is moved at most when it goes to the nearest grid point that none of the others
// has. Within n of it there are (2n + 1) * (2n + 1) of them, in a corner of the picture
// (n + 1) * (n + 1). Pieces have corners where edges cross, too: as many again are allowed for.
int farthestMove(std::size_t vertices, bool mayBeInCorner) {
    const auto root = static_cast<int>(std::sqrt(static_cast<float>(2 * vertices)));
    return mayBeInCorner ? root : (root + 1) / 2;
}

// Each clip rounds by a half. What is left of the last unit is to spare.
int roomFor(int move, std::size_t clips) {
    return move + static_cast<int>(clips / 2) + 1;
}

}  // namespace

// An outline whose box meets that of the include polygon, and what there is to know about it.
struct AreaProof::Question {
    Question(const std::vector<Point>& askedOutline, const Box& outlineBox, const Box& includeBox)
        : outline(askedOutline), box(outlineBox), overlap(Outline::common(box, includeBox)) {}

    std::span<const Exclude* const> liveExcludes() const { return {live.data(), liveCount}; }

    const std::vector<Point>& outline;
    const Box box;
    const Box overlap;    // of both boxes
    int room = 0;         // for the outline and the include polygon
    int excludeRoom = 0;  // for exclude polygons
    std::size_t liveCount = 0;
    std::array<const Exclude*, 16> live;  // excludes that may touch the overlap
};

AreaProof::AreaProof(const std::vector<Point>& includeArea)
    : include(includeArea), vertexCount(includeArea.size()), isUsable(isProvable(includeArea)) {
    if (isUsable) {
        includeHull = Outline::convexHull(include);
        includeBox = Outline::boxOf(include);
        isIncludeSimple = Outline::isSimple(include);
    }
}

void AreaProof::addExcludeArea(const std::vector<Point>& excludeArea) {
    vertexCount += excludeArea.size();
    if (!isProvable(excludeArea) || vertexCount > kMostAreaVertices) {
        isUsable = false;
        return;
    }
    excludes.push_back({excludeArea, Outline::convexHull(excludeArea), Outline::boxOf(excludeArea),
                        Outline::isConvex(excludeArea)});
    widestRoom =
        roomFor(farthestMove(vertexCount + kMostOutlineVertices, true), excludes.size() + 1);
}

AreaProof::Answer AreaProof::ask(const std::vector<Point>& outline) const {
    if (!isUsable || outline.size() < 3 || outline.size() > kMostOutlineVertices) {
        return kOpen;
    }
    const Box box = Outline::boxOf(outline);
    return Outline::meet(box, includeBox) ? askNear(outline, box) : kOutside;
}

// Apart from the above, which is all that most outlines ever see.
AreaProof::Answer AreaProof::askNear(const std::vector<Point>& outline, const Box& box) const {
    Question question(outline, box, includeBox);
    if (!question.box.isInPicture() || !prepare(question)) {
        return kOpen;
    }
    for (const Exclude* exclude : question.liveExcludes()) {
        if (covers(*exclude, question)) {
            return kNothingLeft;
        }
    }
    if (isWitness(question, middle(question.overlap))) {
        return kInside;
    }
    if (Outline::isParted(includeHull, outline)) {
        return kOutside;
    }
    return hasWitnessBesideExcludes(question) ? kInside : askCorners(question);
}

// Finds the excludes that can touch what both boxes have in common, and the room to leave; false
// when there are too many of them.
bool AreaProof::prepare(Question& question) const {
    std::size_t vertices = question.outline.size() + include.size();
    bool mayBeInCorner = !Outline::isDeepInside(question.box, kClearOfBorder, 0);
    for (const Exclude& exclude : excludes) {
        if (Outline::meet(exclude.box, question.overlap, widestRoom)) {
            if (question.liveCount == question.live.size()) {
                return false;
            }
            question.live[question.liveCount++] = &exclude;
            vertices += exclude.points.size();
            mayBeInCorner = mayBeInCorner || !Outline::isDeepInside(exclude.box, kClearOfBorder, 0);
        }
    }
    question.room = roomFor(farthestMove(vertices, mayBeInCorner), question.liveCount + 1);
    question.excludeRoom = question.room;
    return true;
}

// Nothing remains of an outline that lies in an exclude polygon. In a convex one it lies where its
// box's corners are, or its vertices. In any other it lies where one of them is if neither outline
// comes near the other: the exclude polygon's would have to lie in this one whole otherwise, and
// its box is the larger one.
bool AreaProof::covers(const Exclude& exclude, const Question& question) {
    const int room = question.room;
    const Box& overlap = question.overlap;
    if (!Outline::isDeepInside(overlap, exclude.box, room)) {
        return false;
    }
    const auto holds = [&](const Point& point) { return isDeepInside(exclude, point, room); };
    if (exclude.isConvex && holds({overlap.minX, overlap.minY}) &&
        holds({overlap.minX, overlap.maxY}) && holds({overlap.maxX, overlap.maxY}) &&
        holds({overlap.maxX, overlap.minY})) {
        return true;
    }
    const std::vector<Point>& outline = question.outline;
    return Outline::isDeepInside(question.box, exclude.box, room) && holds(outline.front()) &&
           (exclude.isConvex ? std::all_of(outline.begin(), outline.end(), holds)
                             : Outline::areApart(outline, exclude.points, room));
}

bool AreaProof::isDeepInside(const Exclude& exclude, const Point& point, int room) {
    return Outline::locate(point, exclude.points, room) == Where::kInside;
}

// The closer look: at what the outline and the include polygon really have in common. Where no
// vertex of the outline will be moved, less room does.
AreaProof::Answer AreaProof::askCorners(Question& question) const {
    const auto corners = Outline::findCommonCorners(question.outline, include, question.overlap);
    if (!corners.meet) {
        return kOutside;
    }
    if (corners.count == 0) {
        return kOpen;
    }
    if (Outline::areDistinct(question.outline, include)) {
        question.room = roomFor(0, question.liveCount + 1);
        if (isCoveredAtCorners(question, corners)) {
            return kNothingLeft;
        }
    }
    return hasWitnessAtCorners(question, corners) ? kInside : kOpen;
}

// A convex exclude polygon that holds all corners of simple polygons' common part holds that part.
// One unit more for corners that were cut to the grid.
bool AreaProof::isCoveredAtCorners(const Question& question,
                                   const Outline::CommonCorners& corners) const {
    if (!corners.areAll || !isIncludeSimple) {
        return false;
    }
    const auto live = question.liveExcludes();
    const auto corner = corners.list();
    const bool isHeld = std::any_of(live.begin(), live.end(), [&](const Exclude* exclude) {
        return exclude->isConvex &&
               std::all_of(corner.begin(), corner.end(), [&](const Point& point) {
                   return isDeepInside(*exclude, point, question.room + 1);
               });
    });
    return isHeld && Outline::isSimple(question.outline);
}

// In the middle of what the overlap has on each side of an exclude polygon's box.
bool AreaProof::hasWitnessBesideExcludes(const Question& question) const {
    const Box& overlap = question.overlap;
    for (const Exclude* exclude : question.liveExcludes()) {
        const Box& box = exclude->box;
        for (const Box& side : {Box{overlap.minX, overlap.minY, box.minX, overlap.maxY},
                                Box{box.maxX, overlap.minY, overlap.maxX, overlap.maxY},
                                Box{overlap.minX, overlap.minY, overlap.maxX, box.minY},
                                Box{overlap.minX, box.maxY, overlap.maxX, overlap.maxY}}) {
            if (isWitness(question, middle(side))) {
                return true;
            }
        }
    }
    return false;
}

// Corners that no exclude polygon holds lead to what remains.
bool AreaProof::hasWitnessAtCorners(const Question& question,
                                    const Outline::CommonCorners& corners) const {
    const Point mean = corners.mean();
    if (isWitness(question, mean)) {
        return true;
    }
    const auto live = question.liveExcludes();
    Outline::CommonCorners clear;
    for (const Point& corner : corners.list()) {
        if (std::all_of(live.begin(), live.end(), [&](const Exclude* exclude) {
                return Outline::locate(corner, exclude->hull, 0) == Where::kOutside;
            })) {
            clear.add(corner);
        }
    }
    return clear.count > 0 &&
           (isWitness(question, clear.mean()) ||
            std::any_of(clear.list().begin(), clear.list().end(), [&](const Point& corner) {
                return hasWitnessOnWay(question, corner, mean);
            }));
}

// Close to the start, a little further, and halfway.
bool AreaProof::hasWitnessOnWay(const Question& question, const Point& from,
                                const Point& to) const {
    const int distance = std::max(std::abs(to.x - from.x), std::abs(to.y - from.y));
    for (const int part : {2 * question.excludeRoom, 4 * question.excludeRoom, distance / 2}) {
        if (part < distance && isWitness(question, between(from, to, part, distance))) {
            return true;
        }
    }
    return false;
}

// A point that lies, with room, in the outline, in the include polygon and in no exclude polygon
// lies in a piece at the end. With a concave exclude polygon it has to keep clear of the hull: a
// piece that lies within the hull may have all its vertices in the polygon and count as excluded.
bool AreaProof::isWitness(const Question& question, const Point& point) const {
    const Box box{point.x, point.y, point.x, point.y};
    const auto live = question.liveExcludes();
    return Outline::isDeepInside(box, question.overlap, question.room) &&
           Outline::locate(point, include, question.room) == Where::kInside &&
           std::all_of(live.begin(), live.end(),
                       [&](const Exclude* exclude) {
                           return !Outline::meet(box, exclude->box, question.excludeRoom) ||
                                  Outline::locate(point, exclude->hull, question.excludeRoom) ==
                                      Where::kOutside;
                       }) &&
           Outline::locate(point, question.outline, question.room) == Where::kInside;
}
