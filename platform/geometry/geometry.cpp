#include "geometry/geometry.h"

#include "geometry/clipping.h"
#include "geometry/measures.h"
#include "geometry/predicates.h"

#define GEOMETRY_EXPORT __attribute__((visibility("default")))

extern "C" {

GEOMETRY_EXPORT int gm_intersect_pp(const gm_point* a, long a_count, const gm_point* b,
                                    long b_count) {
    return predicates::polygonsMeet(a, a_count, b, b_count);
}

GEOMETRY_EXPORT int gm_intersect_ps(const gm_point* polygon, long polygon_count,
                                    const gm_point* line, long line_count) {
    return predicates::polygonMeetsLine(polygon, polygon_count, line, line_count);
}

GEOMETRY_EXPORT int gm_intersect_ss(const gm_point* a, long a_count, const gm_point* b,
                                    long b_count) {
    return predicates::linesMeet(a, a_count, b, b_count);
}

GEOMETRY_EXPORT int gm_inside_p(const gm_point* point, const gm_point* polygon, long count) {
    return point != nullptr && predicates::isInside(*point, polygon, count);
}

GEOMETRY_EXPORT int gm_area_p(int64_t* area, const gm_point* polygon, long count) {
    return measures::area(area, polygon, count);
}

GEOMETRY_EXPORT int gm_centroid_p(gm_point* centroid, const gm_point* polygon, long count) {
    return measures::centroid(centroid, polygon, count);
}

GEOMETRY_EXPORT int gm_transform_scale(gm_point* points, long count, int64_t x_factor,
                                       int64_t y_factor) {
    return measures::scale(points, count, x_factor, y_factor);
}

GEOMETRY_EXPORT int gm_clip_pp(gm_point*** pieces, int64_t** lengths, int64_t* piece_count,
                               const gm_point* subject, long subject_count, const gm_point* clip,
                               long clip_count, gm_clip_e mode) {
    return clipping::clip(pieces, lengths, piece_count, subject, subject_count, clip, clip_count,
                          mode);
}
}
