#pragma once

#include <stdint.h>

/// Polygon and line geometry on the integer grid.
///
/// A polygon is an array of vertices in either direction, without a repeat of the first at the end;
/// it may cross itself or be degenerate, and a point belongs to it when the outline winds round the
/// point (non-zero rule) or passes through it. A polygon of one or two vertices is a point or a
/// segment. A line is an array of vertices joined by segments, open at its ends.
///
/// Coordinates may be any 16-bit value. Every answer is exact: touching counts as meeting, a point
/// on an outline is inside. Counts are numbers of points. An array may be null when its count is 0
/// or less; such a shape is empty and meets nothing. No function keeps state, so all may be called
/// from several threads at once, and none throws or ends the process.

#ifdef __cplusplus
extern "C" {
#endif

typedef struct gm_point {
    int16_t x;
    int16_t y;
} gm_point;

typedef enum {
    /// What the subject and the clip polygon have in common.
    GM_CLIP_INTERSECTION = 0,
    /// The subject with the clip polygon cut out of it.
    GM_CLIP_CUT = 3,
} gm_clip_e;

/// 1 when the two polygons overlap or touch, otherwise 0.
int gm_intersect_pp(const gm_point* a, long a_count, const gm_point* b, long b_count);

/// 1 when the line meets the polygon (its outline or its inside), otherwise 0.
int gm_intersect_ps(const gm_point* polygon, long polygon_count, const gm_point* line,
                    long line_count);

/// 1 when the two lines cross or touch, otherwise 0.
int gm_intersect_ss(const gm_point* a, long a_count, const gm_point* b, long b_count);

/// 1 when the point is inside the polygon or on its outline, otherwise 0.
int gm_inside_p(const gm_point* point, const gm_point* polygon, long count);

/// Stores the area in squared units: half the absolute value of the sum of cross products of
/// neighbouring vertices, half units rounded down. Returns 0, or -1 (and stores nothing) for fewer
/// than three vertices or a null pointer.
int gm_area_p(int64_t* area, const gm_point* polygon, long count);

/// Stores the centre of gravity, rounded to the nearest unit, halves away from zero. Returns 0, or
/// -1 (and stores nothing) for a null pointer, for a polygon without signed area, and when the
/// result lies outside the bounding box, which outlines that cross themselves can bring about.
int gm_centroid_p(gm_point* centroid, const gm_point* polygon, long count);

/// Scales the points in place about the origin. The factors are 16.16 fixed point (65536 is 1.0).
/// Products are rounded to the nearest unit, halves away from zero. Returns 0, or -1 (and leaves
/// all points as they were) for a null pointer with a count above 0, for a negative count, and when
/// a scaled coordinate does not fit 16 bits.
int gm_transform_scale(gm_point* points, long count, int64_t x_factor, int64_t y_factor);

/// Clips the subject with the clip polygon, both read by the non-zero rule. The pieces together are
/// the whole result, rounded to the grid once at the end. No piece has a hole: where the result has
/// one, it is opened by splitting the piece that surrounds it. A piece that vanishes on the grid
/// (fewer than three distinct points, or no area) is not returned.
///
/// Returns 0 or a negative value on failure, which stores nothing: a null out pointer, an unknown
/// mode, lack of memory. On success the caller owns all arrays and releases them with free(): each
/// point array, then the array of arrays, then the lengths. Without pieces the count is 0 and both
/// arrays are null.
int gm_clip_pp(gm_point*** pieces, int64_t** lengths, int64_t* piece_count, const gm_point* subject,
               long subject_count, const gm_point* clip, long clip_count, gm_clip_e mode);

#ifdef __cplusplus
}
#endif
