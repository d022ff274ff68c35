#include "engine/assignment.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "engine/blob.h"
#include "engine/boxes.h"
#include "engine/object_track.h"

namespace {

constexpr float forbidden = 10;
constexpr double unconfirmedCost = 0.3;

float cost(const ObjectTrack& track, const Blob& blob) {
    const cv::Rect2d box = track.predicted();
    const double reach = 0.5 * std::hypot(box.width, box.height) + 2 * track.uncertainty();
    const double overlap = Boxes::overlap(box, blob.box);
    const double distance = cv::norm(Boxes::centre(box) - Boxes::centre(blob.box)) / reach;
    const double ratio =
        std::max(track.area, blob.area) / std::max(1.0, std::min(track.area, blob.area));
    if (overlap <= 0.1 && (distance >= 1 || ratio >= 4)) {
        return forbidden;
    }
    return static_cast<float>((1 - overlap) + 0.5 * std::min(distance, 1.5) +
                              0.1 * std::log2(ratio) + (track.isConfirmed() ? 0 : unconfirmedCost));
}

}  // namespace

std::vector<int> Assignment::solve(const std::vector<ObjectTrack>& tracks,
                                   const std::vector<Blob>& blobs) {
    std::vector<int> assigned(tracks.size(), none);
    if (tracks.empty() || blobs.empty()) {
        return assigned;
    }
    const int rows = static_cast<int>(tracks.size());
    const int columns = static_cast<int>(blobs.size());
    cv::Mat_<float> costs(rows, columns);
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < columns; ++j) {
            costs(i, j) =
                cost(tracks[static_cast<std::size_t>(i)], blobs[static_cast<std::size_t>(j)]);
        }
    }
    // With a weight of one on each side the earth mover's distance is the assignment problem.
    cv::Mat_<float> flow;
    cv::EMD(cv::Mat::ones(rows, 1, CV_32F), cv::Mat::ones(columns, 1, CV_32F), cv::DIST_USER, costs,
            nullptr, flow);
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < columns; ++j) {
            if (flow(i, j) > 0.5f && costs(i, j) < forbidden) {
                assigned[static_cast<std::size_t>(i)] = j;
            }
        }
    }
    return assigned;
}
