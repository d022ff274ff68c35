#include "geometry/double/geometry_double.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <stdexcept>
#include <string>

#include "geometry/clipping.h"
#include "geometry/geometry.h"
#include "geometry/measures.h"
#include "geometry/predicates.h"

namespace {

constexpr int kFailure = -1;

enum Function {
    kIntersectPp,
    kIntersectPs,
    kIntersectSs,
    kInside,
    kArea,
    kCentroid,
    kScale,
    kClip
};

constexpr std::array<std::string_view, 8> kNames{
    "gm_intersect_pp", "gm_intersect_ps", "gm_intersect_ss",    "gm_inside_p",
    "gm_area_p",       "gm_centroid_p",   "gm_transform_scale", "gm_clip_pp"};

struct Plan {
    std::atomic<int> calls = 0;
    std::atomic<int> failingCall = 0;
    std::atomic<bool> failsAlways = false;
};

std::array<Plan, kNames.size()> plans;

Plan& planOf(std::string_view name) {
    const auto found = std::find(kNames.begin(), kNames.end(), name);
    if (found == kNames.end()) {
        throw std::invalid_argument("no such function: " + std::string(name));
    }
    return plans[static_cast<std::size_t>(found - kNames.begin())];
}

bool fails(Function function) {
    Plan& plan = plans[function];
    return ++plan.calls == plan.failingCall || plan.failsAlways;
}

}  // namespace

void GeometryDouble::reset() {
    for (Plan& plan : plans) {
        plan.calls = 0;
        plan.failingCall = 0;
        plan.failsAlways = false;
    }
}

void GeometryDouble::failCall(std::string_view function, int n) {
    Plan& plan = planOf(function);
    plan.failingCall = plan.calls + n;
}

void GeometryDouble::failEveryCall(std::string_view function) {
    planOf(function).failsAlways = true;
}

int GeometryDouble::calls(std::string_view function) {
    return planOf(function).calls;
}

extern "C" {

int gm_intersect_pp(const gm_point* a, long a_count, const gm_point* b, long b_count) {
    return fails(kIntersectPp) ? kFailure : predicates::polygonsMeet(a, a_count, b, b_count);
}

int gm_intersect_ps(const gm_point* polygon, long polygon_count, const gm_point* line,
                    long line_count) {
    return fails(kIntersectPs)
               ? kFailure
               : predicates::polygonMeetsLine(polygon, polygon_count, line, line_count);
}

int gm_intersect_ss(const gm_point* a, long a_count, const gm_point* b, long b_count) {
    return fails(kIntersectSs) ? kFailure : predicates::linesMeet(a, a_count, b, b_count);
}

int gm_inside_p(const gm_point* point, const gm_point* polygon, long count) {
    return fails(kInside) ? kFailure
                          : point != nullptr && predicates::isInside(*point, polygon, count);
}

int gm_area_p(int64_t* area, const gm_point* polygon, long count) {
    return fails(kArea) ? kFailure : measures::area(area, polygon, count);
}

int gm_centroid_p(gm_point* centroid, const gm_point* polygon, long count) {
    return fails(kCentroid) ? kFailure : measures::centroid(centroid, polygon, count);
}

int gm_transform_scale(gm_point* points, long count, int64_t x_factor, int64_t y_factor) {
    return fails(kScale) ? kFailure : measures::scale(points, count, x_factor, y_factor);
}

int gm_clip_pp(gm_point*** pieces, int64_t** lengths, int64_t* piece_count, const gm_point* subject,
               long subject_count, const gm_point* clip, long clip_count, gm_clip_e mode) {
    return fails(kClip) ? kFailure
                        : clipping::clip(pieces, lengths, piece_count, subject, subject_count, clip,
                                         clip_count, mode);
}
}
