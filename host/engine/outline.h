#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "engine/blob.h"
#include "engine/scene_record.h"

/// Outlines of blobs as polygons in scene units.
namespace Outline {

/// The point of a picture of size `view` in scene units, moved into the view, not rounded.
cv::Point2d toScene(cv::Point2d point, cv::Size view);

/// A simple polygon of 3..`mostVertices` points with an area, inside the view, close to the blob's
/// own outline; its hull if it has more than one piece. `shift`, in picture points, moves it to
/// where the blob is believed to be; a shift that leads out of the view is not followed.
std::vector<ScenePoint> make(const Contour& points, bool single, cv::Point2d shift, cv::Size view,
                             int mostVertices);

/// Whether no two edges touch, but at the corner that neighbours share.
bool isSimple(const std::vector<ScenePoint>& polygon);

}  // namespace Outline
