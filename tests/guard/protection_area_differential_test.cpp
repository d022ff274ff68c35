// What a protection area says at once against what clipping says, over random areas and outlines of
// every kind that is known to be awkward. The two must be the same, always: the proofs leave room
// for all that clipping may move and round.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "geometry/polygon.h"
#include "guard/area_proof.h"
#include "guard/protection_area.h"
#include "support/sanitizers.h"

namespace {

constexpr int kCases = isSanitized ? 5000 : 120000;

using Points = std::vector<Point>;

// A random world on a part of the picture: what it makes is close together, so that shapes touch,
// share vertices and cross each other often.
class World {
public:
    explicit World(unsigned seed) : random(seed) {
        static constexpr std::array<int, 6> kSizes{6, 30, 100, 400, 1500, 4096};
        size = kSizes[static_cast<std::size_t>(upTo(5))];
        // Anywhere, at the border, or in a corner of the picture.
        const int most = 4096 - size;
        x = oneIn(4) ? (oneIn(2) ? most : -most) : between(-most, most);
        y = oneIn(4) ? (oneIn(2) ? most : -most) : between(-most, most);
        include = shape(9);
        const int excludeCount = oneIn(4) ? 0 : upTo(4);
        for (int i = 0; i < excludeCount; ++i) {
            excludes.push_back(oneIn(3) ? wideStar() : shape(9));
        }
    }

    Points outline() {
        Points result = shape(12);
        if (oneIn(30)) {
            // Partly out of the picture.
            result[0].x = static_cast<std::int16_t>(result[0].x + (oneIn(2) ? 5000 : -5000));
        }
        return result;
    }

    Points include;
    std::vector<Points> excludes;

private:
    int between(int low, int high) { return std::uniform_int_distribution(low, high)(random); }
    int upTo(int most) { return between(0, most); }
    bool oneIn(int n) { return upTo(n - 1) == 0; }

    static std::int16_t clamp(double value) {
        return static_cast<std::int16_t>(std::clamp(std::lround(value), -4096L, 4096L));
    }

    Point anywhere() { return {clamp(x + between(-size, size)), clamp(y + between(-size, size))}; }

    Points shape(int mostVertices) {
        Points result = freshShape(mostVertices);
        if (!shapes.empty() && oneIn(3)) {
            borrowVertices(result);
        }
        if (oneIn(10)) {
            result.insert(result.begin() + upTo(static_cast<int>(result.size()) - 1), result[0]);
        }
        shapes.push_back(result);
        return result;
    }

    Points freshShape(int mostVertices) {
        switch (upTo(9)) {
            case 0:
            case 1:
            case 2:
                return star(between(3, mostVertices), 0.7);
            case 3:
                return star(between(5, mostVertices), 0.15);  // concave
            case 4:
                return box();
            case 5:
                return comb();
            case 6:
                return line();
            case 7:
                return neighbour();
            case 8:
                return shapes.empty() ? box()
                                      : shapes[static_cast<std::size_t>(
                                            upTo(static_cast<int>(shapes.size()) - 1))];
            default:
                return scatter(between(3, mostVertices));  // crosses itself
        }
    }

    Points star(int count, double least) {
        const Point centre = anywhere();
        const double radius = size * std::uniform_real_distribution(0.05, 1.2)(random);
        const double turn = std::uniform_real_distribution(0.0, 7.0)(random);
        std::uniform_real_distribution distance(least, 1.0);
        Points result;
        for (int i = 0; i < count; ++i) {
            const double angle = turn + 2 * M_PI * i / count;
            const double r = radius * distance(random);
            result.push_back(
                {clamp(centre.x + r * std::cos(angle)), clamp(centre.y + r * std::sin(angle))});
        }
        if (oneIn(2)) {
            std::reverse(result.begin(), result.end());
        }
        return result;
    }

    // Round much of what there is.
    Points wideStar() {
        Points result;
        const int count = between(4, 9);
        const double radius = size * std::uniform_real_distribution(0.7, 2.0)(random);
        for (int i = 0; i < count; ++i) {
            const double angle = 2 * M_PI * i / count;
            result.push_back(
                {clamp(x + radius * std::cos(angle)), clamp(y + radius * std::sin(angle))});
        }
        shapes.push_back(result);
        return result;
    }

    Points scatter(int count) {
        Points result(static_cast<std::size_t>(count));
        std::generate(result.begin(), result.end(), [this] { return anywhere(); });
        return result;
    }

    // Boxes on a coarse grid adjoin each other.
    Points box() {
        const int step = std::max(size / 4, 1);
        const int left = x + step * between(-4, 3);
        const int low = y + step * between(-4, 3);
        const int right = left + step * between(1, 4);
        const int high = low + step * between(1, 4);
        return {{clamp(left), clamp(low)},
                {clamp(left), clamp(high)},
                {clamp(right), clamp(high)},
                {clamp(right), clamp(low)}};
    }

    // A U, or a comb of two notches: concave with its vertices on the outside.
    Points comb() {
        const Points frame = box();
        const int width = frame[2].x - frame[0].x;
        const int high = frame[1].y;
        const int notch = frame[0].y + upTo(std::max(high - frame[0].y, 0));
        Points result{frame[0], frame[1]};
        const int teeth = between(1, 2);
        for (int i = 0; i < teeth; ++i) {
            const int from = frame[0].x + width * (3 * i + 1) / (3 * teeth);
            const int to = frame[0].x + width * (3 * i + 2) / (3 * teeth);
            result.insert(result.end(), {{clamp(from), clamp(high)},
                                         {clamp(from), clamp(notch)},
                                         {clamp(to), clamp(notch)},
                                         {clamp(to), clamp(high)}});
        }
        result.insert(result.end(), {frame[2], frame[3]});
        return result;
    }

    // Without area, or nearly.
    Points line() {
        const Point from = anywhere();
        const Point to = anywhere();
        Points result{from, to, from};
        for (Point& point : result) {
            point.x = clamp(point.x + (oneIn(3) ? between(-1, 1) : 0));
        }
        result.push_back(oneIn(2) ? from : anywhere());
        return result;
    }

    // An earlier shape, moved by a little or by one of its own edges.
    Points neighbour() {
        if (shapes.empty()) {
            return box();
        }
        Points result = shapes[static_cast<std::size_t>(upTo(static_cast<int>(shapes.size()) - 1))];
        const bool byEdge = oneIn(2);
        const int dx = byEdge ? result[1].x - result[0].x : between(-3, 3);
        const int dy = byEdge ? result[1].y - result[0].y : between(-3, 3);
        for (Point& point : result) {
            point = {clamp(point.x + dx), clamp(point.y + dy)};
        }
        return result;
    }

    // Takes over vertices of earlier shapes, or points on or just beside their edges.
    void borrowVertices(Points& shape) {
        for (Point& point : shape) {
            if (oneIn(3)) {
                const Points& other =
                    shapes[static_cast<std::size_t>(upTo(static_cast<int>(shapes.size()) - 1))];
                const std::size_t i =
                    static_cast<std::size_t>(upTo(static_cast<int>(other.size()) - 1));
                const Point a = other[i];
                const Point b = other[(i + 1) % other.size()];
                const double share = oneIn(2) ? 0 : upTo(4) / 4.0;
                point = {clamp(a.x + share * (b.x - a.x) + (oneIn(3) ? between(-1, 1) : 0)),
                         clamp(a.y + share * (b.y - a.y) + (oneIn(3) ? between(-1, 1) : 0))};
            }
        }
    }

    std::mt19937 random;
    int size;
    int x;
    int y;
    std::vector<Points> shapes;
};

Polygon polygonOf(const Points& points) {
    std::vector<short> xy;
    for (const Point& point : points) {
        xy.insert(xy.end(), {point.x, point.y});
    }
    return Polygon(xy.data(), static_cast<int>(points.size()));
}

std::string describe(const World& world, const Points& outline) {
    const auto list = [](const Points& points) {
        std::ostringstream text;
        for (const Point& point : points) {
            text << '{' << point.x << ", " << point.y << "}, ";
        }
        return text.str();
    };
    std::string text = "include " + list(world.include);
    for (const Points& exclude : world.excludes) {
        text += "\nexclude " + list(exclude);
    }
    return text + "\noutline " + list(outline);
}

}  // namespace

TEST(ProtectionAreaDifferential, SaysWhatClippingSays) {
    constexpr int kOutlinesPerArea = 5;
    std::array<int, 3> verdicts{};
    std::array<int, 4> proofs{};
    for (int i = 0; i < kCases; i += kOutlinesPerArea) {
        World world(static_cast<unsigned>(i));
        ProtectionArea area(polygonOf(world.include));
        AreaProof proof(world.include);
        for (const Points& exclude : world.excludes) {
            area.addExcludeArea(polygonOf(exclude));
            proof.addExcludeArea(exclude);
        }
        for (int j = 0; j < kOutlinesPerArea; ++j) {
            const Points outline = world.outline();
            const Polygon polygon = polygonOf(outline);
            const int told = area.checkByClipping(polygon);
            ASSERT_EQ(told, area.checkOutline(polygon))
                << "case " << i << ", outline " << j << ", proof " << proof.ask(outline) << "\n"
                << describe(world, outline);
            ++verdicts[static_cast<std::size_t>(told)];
            ++proofs[static_cast<std::size_t>(proof.ask(outline))];
        }
    }
    std::printf(
        "%d cases: %d inside, %d outside, %d excluded; proved inside %d, outside %d, "
        "nothing left %d; left to the clipper %d\n",
        kCases, verdicts[0], verdicts[1], verdicts[2], proofs[AreaProof::kInside],
        proofs[AreaProof::kOutside], proofs[AreaProof::kNothingLeft], proofs[AreaProof::kOpen]);
    // The cases are of all kinds.
    EXPECT_THAT(verdicts, testing::Each(testing::Gt(kCases / 20)));
    EXPECT_THAT(proofs, testing::Each(testing::Gt(kCases / 20)));
}
