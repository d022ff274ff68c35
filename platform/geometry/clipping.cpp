#include "geometry/clipping.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <new>
#include <polyclipping/clipper.hpp>
#include <utility>
#include <vector>

namespace {

using ClipperLib::cInt;
using ClipperLib::IntPoint;
using ClipperLib::Path;
using ClipperLib::Paths;

using Piece = std::vector<gm_point>;

constexpr int kScaleBits = 16;
constexpr cInt kScale = cInt{1} << kScaleBits;

Path scaledUp(const gm_point* points, long count) {
    Path path;
    if (points == nullptr) {
        return path;
    }
    path.reserve(static_cast<std::size_t>(std::max(count, 0L)));
    for (long i = 0; i < count; ++i) {
        path.emplace_back(points[i].x * kScale, points[i].y * kScale);
    }
    return path;
}

// To the nearest unit, halves upwards.
std::int16_t rounded(cInt value) {
    return static_cast<std::int16_t>((value + kScale / 2) >> kScaleBits);
}

bool same(gm_point a, gm_point b) {
    return a.x == b.x && a.y == b.y;
}

std::int64_t twiceArea(const Piece& piece) {
    std::int64_t sum = 0;
    gm_point a = piece.back();
    for (const gm_point b : piece) {
        sum += std::int64_t{a.x} * b.y - std::int64_t{b.x} * a.y;
        a = b;
    }
    return sum;
}

// The outline on the grid without repeated neighbours; empty when it vanishes there.
Piece roundedToGrid(const Path& path) {
    Piece piece;
    for (const IntPoint& point : path) {
        const gm_point next{rounded(point.X), rounded(point.Y)};
        if (piece.empty() || !same(piece.back(), next)) {
            piece.push_back(next);
        }
    }
    while (piece.size() > 1 && same(piece.front(), piece.back())) {
        piece.pop_back();
    }
    // An area takes three distinct points.
    if (piece.empty() || twiceArea(piece) == 0) {
        piece.clear();
    }
    return piece;
}

struct Bounds {
    cInt left, right, low, high;
};

// A little more than the outline takes up.
Bounds boundsOf(const Path& outline) {
    Bounds bounds{outline[0].X, outline[0].X, outline[0].Y, outline[0].Y};
    for (const IntPoint& point : outline) {
        bounds.left = std::min(bounds.left, point.X);
        bounds.right = std::max(bounds.right, point.X);
        bounds.low = std::min(bounds.low, point.Y);
        bounds.high = std::max(bounds.high, point.Y);
    }
    return {bounds.left - kScale, bounds.right + kScale, bounds.low - kScale, bounds.high + kScale};
}

Path rectangle(const Bounds& bounds) {
    return {{bounds.left, bounds.low},
            {bounds.right, bounds.low},
            {bounds.right, bounds.high},
            {bounds.left, bounds.high}};
}

void execute(const Paths& subject, const Path& clip, ClipperLib::ClipType type,
             ClipperLib::PolyTree& result) {
    ClipperLib::Clipper clipper;
    clipper.AddPaths(subject, ClipperLib::ptSubject, true);
    clipper.AddPath(clip, ClipperLib::ptClip, true);
    if (!clipper.Execute(type, result, ClipperLib::pftNonZero, ClipperLib::pftNonZero)) {
        throw ClipperLib::clipperException("clipping failed");
    }
}

// Where a vertical line cuts the hole: on the caller's grid where one of its lines goes through, so
// that both parts keep the very same edge.
cInt lineThrough(const Bounds& hole) {
    const cInt middle = hole.left + (hole.right - hole.left) / 2;
    const cInt onGrid = rounded(middle) * kScale;
    return hole.left + kScale < onGrid && onGrid < hole.right - kScale ? onGrid : middle;
}

void collect(const ClipperLib::PolyNode& parent, std::vector<Piece>& pieces);

// Cuts an outline in two through its first hole. Whatever holes the halves have left are opened in
// turn.
void split(const Path& outline, Paths holes, std::vector<Piece>& pieces) {
    const cInt x = lineThrough(boundsOf(holes.front()));
    Bounds left = boundsOf(outline);
    Bounds right = left;
    left.right = x;
    right.left = x;
    holes.push_back(outline);
    for (const Bounds& half : {left, right}) {
        ClipperLib::PolyTree tree;
        execute(holes, rectangle(half), ClipperLib::ctIntersection, tree);
        collect(tree, pieces);
    }
}

// Whether a vertical line can go through, away from both sides: otherwise a cut would leave the
// hole as it is.
bool canBeCut(const Path& hole) {
    const Bounds bounds = boundsOf(hole);
    return bounds.right - bounds.left >= 2 * kScale + 2;
}

// Holes that vanish on the grid, or on the fine one, are none.
Paths holesOnGrid(const ClipperLib::PolyNode& outline) {
    Paths holes;
    for (const ClipperLib::PolyNode* hole : outline.Childs) {
        if (canBeCut(hole->Contour) && !roundedToGrid(hole->Contour).empty()) {
            holes.push_back(hole->Contour);
        }
    }
    return holes;
}

void collectOutline(const ClipperLib::PolyNode& outline, std::vector<Piece>& pieces) {
    Paths holes = holesOnGrid(outline);
    if (!holes.empty()) {
        split(outline.Contour, std::move(holes), pieces);
        return;
    }
    if (Piece piece = roundedToGrid(outline.Contour); !piece.empty()) {
        pieces.push_back(std::move(piece));
    }
}

// The outlines below a node, and below their holes the outlines that lie in those.
void collect(const ClipperLib::PolyNode& parent, std::vector<Piece>& pieces) {
    for (const ClipperLib::PolyNode* outline : parent.Childs) {
        collectOutline(*outline, pieces);
        for (const ClipperLib::PolyNode* hole : outline->Childs) {
            collect(*hole, pieces);
        }
    }
}

std::vector<Piece> clipToPieces(const Path& subject, const Path& clip, gm_clip_e mode) {
    ClipperLib::PolyTree tree;
    execute({subject}, clip,
            mode == GM_CLIP_CUT ? ClipperLib::ctDifference : ClipperLib::ctIntersection, tree);
    std::vector<Piece> pieces;
    collect(tree, pieces);
    return pieces;
}

// The arrays that a caller gets, until they are handed over.
class Arrays {
public:
    explicit Arrays(std::size_t capacity)
        : pieces(allocate<gm_point*>(capacity)), lengths(allocate<std::int64_t>(capacity)) {}
    Arrays(const Arrays&) = delete;
    Arrays& operator=(const Arrays&) = delete;
    ~Arrays() {
        for (std::int64_t i = 0; i < count; ++i) {
            std::free(pieces[i]);
        }
        std::free(pieces);
        std::free(lengths);
    }

    void add(const Piece& piece) {
        pieces[count] = allocate<gm_point>(piece.size());
        std::copy(piece.begin(), piece.end(), pieces[count]);
        lengths[count] = static_cast<std::int64_t>(piece.size());
        ++count;
    }

    void handOver(gm_point*** toPieces, std::int64_t** toLengths, std::int64_t* toCount) {
        *toPieces = std::exchange(pieces, nullptr);
        *toLengths = std::exchange(lengths, nullptr);
        *toCount = std::exchange(count, 0);
    }

private:
    template <typename T>
    static T* allocate(std::size_t count) {
        if (count == 0) {
            return nullptr;
        }
        // Arrays of pointers among them: NOLINTNEXTLINE(bugprone-sizeof-expression)
        void* block = std::malloc(count * sizeof(T));
        return block != nullptr ? static_cast<T*>(block) : throw std::bad_alloc();
    }

    gm_point** pieces;
    std::int64_t* lengths;
    std::int64_t count = 0;
};

}  // namespace

int clipping::clip(gm_point*** pieces, std::int64_t** lengths, std::int64_t* pieceCount,
                   const gm_point* subject, long subjectCount, const gm_point* clip, long clipCount,
                   gm_clip_e mode) noexcept {
    constexpr int kFailure = -1;
    const bool modeIsKnown = mode == GM_CLIP_INTERSECTION || mode == GM_CLIP_CUT;
    if (pieces == nullptr || lengths == nullptr || pieceCount == nullptr || !modeIsKnown) {
        return kFailure;
    }
    try {
        const std::vector<Piece> result =
            clipToPieces(scaledUp(subject, subjectCount), scaledUp(clip, clipCount), mode);
        Arrays arrays(result.size());
        for (const Piece& piece : result) {
            arrays.add(piece);
        }
        arrays.handOver(pieces, lengths, pieceCount);
        return 0;
    } catch (const std::exception&) {
        return kFailure;
    }
}
