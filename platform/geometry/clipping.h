#pragma once

#include <cstdint>

#include "geometry/geometry.h"

/// Clipping of polygons by a kept library, on a grid 65536 times as fine as the caller's.
namespace clipping {

/// Results and arrays as in the contract of gm_clip_pp().
int clip(gm_point*** pieces, std::int64_t** lengths, std::int64_t* pieceCount,
         const gm_point* subject, long subjectCount, const gm_point* clip, long clipCount,
         gm_clip_e mode) noexcept;

}  // namespace clipping
