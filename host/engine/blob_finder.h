#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "engine/blob.h"

struct AnalysisSettings;
class Segmenter;

/// Where a confirmed track is expected in the present picture.
struct Expectation {
    cv::Rect2d box;
    cv::Size2d size;  ///< the track's usual one
};

/// The objects of one picture, from the mask of what moves.
namespace BlobFinder {

/// Pieces of foreground that are large enough and more than light, those joined that belong to one
/// object: pieces that the same track expects, or pieces stacked with a small gap.
std::vector<Blob> find(Segmenter& segmenter, const std::vector<Expectation>& expected,
                       const AnalysisSettings& settings);

/// The joining alone. `gap` is in picture points.
std::vector<Blob> join(const std::vector<Blob>& pieces, const std::vector<Expectation>& expected,
                       double gap);

}  // namespace BlobFinder
