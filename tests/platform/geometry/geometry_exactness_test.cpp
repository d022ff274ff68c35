// The library against plain 128-bit arithmetic, over random shapes of many kinds.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "geometry_shapes.h"
#include "support/exact_geometry.h"
#include "support/sanitizers.h"

namespace {

using exact_geometry::Vertex;
using exact_geometry::Wide;

// Random shapes on coordinates of -range..range. Small ranges make touching, repeated and collinear
// vertices frequent.
class Shapes {
public:
    Shapes(unsigned seed, int range) : random(seed), coordinate(-range, range) {}

    int upTo(int limit) { return std::uniform_int_distribution(0, limit)(random); }

    gm_point point() {
        return {static_cast<std::int16_t>(coordinate(random)),
                static_cast<std::int16_t>(coordinate(random))};
    }

    Shape shape(int least, int most) {
        Shape result(static_cast<std::size_t>(least + upTo(most - least)));
        std::generate(result.begin(), result.end(), [this] { return point(); });
        return result;
    }

private:
    std::mt19937 random;
    std::uniform_int_distribution<int> coordinate;
};

std::vector<Vertex> vertices(const Shape& shape, int denominator = 1) {
    std::vector<Vertex> result;
    for (const gm_point point : shape) {
        result.push_back(
            {std::int64_t{point.x} * denominator, std::int64_t{point.y} * denominator});
    }
    return result;
}

// The nearest integer, halves away from zero.
Wide nearest(Wide numerator, Wide denominator) {
    const int sign = (numerator < 0) != (denominator < 0) ? -1 : 1;
    const Wide n = numerator < 0 ? -numerator : numerator;
    const Wide d = denominator < 0 ? -denominator : denominator;
    const Wide whole = n / d;
    return sign * (2 * (n - whole * d) >= d ? whole + 1 : whole);
}

// Area (twice) and moments (six times), summed over the triangles between the first vertex and each
// edge.
struct Moments {
    Wide area = 0, x = 0, y = 0;

    explicit Moments(const Shape& shape) {
        const gm_point o = shape[0];
        for (std::size_t i = 1; i + 1 < shape.size(); ++i) {
            const gm_point a = shape[i];
            const gm_point b = shape[i + 1];
            const Wide twice = Wide{a.x - o.x} * (b.y - o.y) - Wide{b.x - o.x} * (a.y - o.y);
            area += twice;
            x += twice * (o.x + a.x + b.x);
            y += twice * (o.y + a.y + b.y);
        }
    }
};

class OverRanges : public testing::TestWithParam<int> {};

}  // namespace

TEST_P(OverRanges, MeetingIsExact) {
    Shapes random(1000u + static_cast<unsigned>(GetParam()), GetParam());
    int meetings = 0;
    for (int i = 0; i < 4000; ++i) {
        const Shape a = random.shape(1, 7);
        const Shape b = random.shape(1, 7);
        const auto va = vertices(a);
        const auto vb = vertices(b);
        ASSERT_EQ(exact_geometry::polygonsMeet(va, vb), polygonsMeet(a, b)) << i;
        ASSERT_EQ(exact_geometry::lineMeetsPolygon(vb, va), polygonMeetsLine(a, b)) << i;
        ASSERT_EQ(exact_geometry::linesMeet(va, vb), linesMeet(a, b)) << i;
        meetings += polygonsMeet(a, b) ? 1 : 0;
    }
    EXPECT_GT(meetings, 1000);
    EXPECT_LT(meetings, 4000);
}

TEST_P(OverRanges, InsideIsExact) {
    Shapes random(2000u + static_cast<unsigned>(GetParam()), GetParam());
    for (int i = 0; i < 20000; ++i) {
        const Shape polygon = random.shape(1, 9);
        const gm_point point = i % 4 == 0 ? polygon[0] : random.point();
        ASSERT_EQ(exact_geometry::covers(vertices(polygon), Vertex{point.x, point.y}),
                  isInside(point, polygon))
            << i;
    }
}

TEST_P(OverRanges, AreaAndCentroidAreExact) {
    Shapes random(3000u + static_cast<unsigned>(GetParam()), GetParam());
    int failures = 0;
    for (int i = 0; i < 20000; ++i) {
        const Shape polygon = random.shape(3, 9);
        const Moments moments(polygon);
        std::int64_t area = -1;
        ASSERT_EQ(0, gm_area_p(&area, polygon.data(), countOf(polygon)));
        ASSERT_TRUE((moments.area < 0 ? -moments.area : moments.area) / 2 == area) << i;

        gm_point centroid{};
        const int result = gm_centroid_p(&centroid, polygon.data(), countOf(polygon));
        bool exists = moments.area != 0;
        if (exists) {
            const Wide x = nearest(moments.x, 3 * moments.area);
            const Wide y = nearest(moments.y, 3 * moments.area);
            const auto between = [&](auto member, Wide value) {
                const auto [low, high] = std::minmax_element(
                    polygon.begin(), polygon.end(),
                    [member](gm_point a, gm_point b) { return a.*member < b.*member; });
                return value >= (*low).*member && value <= (*high).*member;
            };
            exists = between(&gm_point::x, x) && between(&gm_point::y, y);
            ASSERT_TRUE(!exists || (x == centroid.x && y == centroid.y)) << i;
        }
        ASSERT_EQ(exists ? 0 : -1, result) << i;
        failures += exists ? 0 : 1;
    }
    EXPECT_GT(failures, 0);
}

INSTANTIATE_TEST_SUITE_P(Geometry, OverRanges, testing::Values(3, 20, 4096, 32767));

namespace {

// Asks at points between the grid's lines (halves) that lie clear of all edges, so that rounding
// cannot matter: the pieces must cover each such point of the exact result once, and no other.
class ClipCheck {
public:
    ClipCheck(const Shape& subject, const Shape& other, gm_clip_e mode)
        : subjectOutline(vertices(subject, 2)),
          otherOutline(vertices(other, 2)),
          cuts(mode == GM_CLIP_CUT) {
        for (const Shape& piece : clip(subject, other, mode)) {
            EXPECT_GE(piece.size(), 3u);
            EXPECT_NE(0, twiceArea(piece));
            pieces.push_back(vertices(piece, 2));
        }
    }

    // The number of points that could be asked.
    int ask(int range) const {
        int asked = 0;
        for (int x = -2 * range + 1; x < 2 * range; x += kStep) {
            for (int y = -2 * range + 1; y < 2 * range; y += kStep) {
                asked += askAt({x, y}) ? 1 : 0;
            }
        }
        return asked;
    }

private:
    static constexpr int kStep = 6;

    bool askAt(Vertex point) const {
        // Three halves: rounding moves an edge by less than one.
        if (exact_geometry::isNear(point, subjectOutline, 3) ||
            exact_geometry::isNear(point, otherOutline, 3)) {
            return false;
        }
        const bool inSubject = exact_geometry::windingNumber(point, subjectOutline) != 0;
        const bool inOther = exact_geometry::windingNumber(point, otherOutline) != 0;
        int covering = 0;
        for (const auto& piece : pieces) {
            const int winding = exact_geometry::windingNumber(point, piece);
            EXPECT_LE(std::abs(winding), 1) << "a piece that covers itself";
            covering += std::abs(winding);
        }
        EXPECT_EQ(inSubject && inOther != cuts ? 1 : 0, covering) << point.x << ' ' << point.y;
        return true;
    }

    std::vector<Vertex> subjectOutline;
    std::vector<Vertex> otherOutline;
    std::vector<std::vector<Vertex>> pieces;
    bool cuts;
};

constexpr int kClips = isSanitized ? 60 : 600;

}  // namespace

TEST(GeometryClipExactness, PiecesTogetherAreTheWholeResult) {
    constexpr int kRange = 40;
    Shapes random(4000, kRange);
    int asked = 0;
    for (int i = 0; i < kClips && !testing::Test::HasFailure(); ++i) {
        const Shape subject = random.shape(3, 8);
        const Shape other = random.shape(3, 8);
        asked += ClipCheck(subject, other, GM_CLIP_INTERSECTION).ask(kRange);
        asked += ClipCheck(subject, other, GM_CLIP_CUT).ask(kRange);
    }
    EXPECT_GT(asked, kClips * 20);
}

TEST(GeometryClipExactness, HolesAreOpened) {
    constexpr int kRange = 40;
    Shapes random(5000, 24);
    const Shape frame{{-40, -40}, {-40, 40}, {40, 40}, {40, -40}};
    for (int i = 0; i < kClips && !testing::Test::HasFailure(); ++i) {
        const Shape other = random.shape(3, 8);
        ClipCheck(frame, other, GM_CLIP_CUT).ask(kRange);
    }
}
