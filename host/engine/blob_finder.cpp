#include "engine/blob_finder.h"

#include <algorithm>
#include <numeric>
#include <opencv2/imgproc.hpp>

#include "engine/analysis_settings.h"
#include "engine/boxes.h"
#include "engine/segmenter.h"

namespace {

/// A piece may be smaller than an object: it may be joined yet.
constexpr double pieceShare = 0.4;
constexpr double joinGapShare = 0.012;  // of the picture's height
constexpr int nobody = -1;

std::vector<Blob> findPieces(Segmenter& segmenter, double leastArea) {
    std::vector<Contour> contours;
    cv::findContours(segmenter.mask(), contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);
    std::vector<Blob> pieces;
    for (Contour& contour : contours) {
        const double area = cv::contourArea(contour);
        if (area < leastArea) {
            continue;
        }
        const cv::Rect2d box = cv::boundingRect(contour);
        Blob piece = {std::move(contour), box, area, true};
        if (!segmenter.isLight(piece)) {
            pieces.push_back(std::move(piece));
        }
    }
    return pieces;
}

// The one track that expects the piece; nobody also if several lay claim to it.
int ownerOf(const Blob& piece, const std::vector<Expectation>& expected) {
    int owner = nobody;
    int claims = 0;
    double best = 0.6;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const double inside = Boxes::shareInside(piece.box, Boxes::grown(expected[i].box, 0.1));
        claims += inside > 0.3 ? 1 : 0;
        if (inside > best) {
            best = inside;
            owner = static_cast<int>(i);
        }
    }
    return claims > 1 ? nobody : owner;
}

// Without limits one track would swallow the view piece by piece.
bool belongToTrack(const Blob& one, const Blob& other, const cv::Size2d& size) {
    const cv::Point2d gap = Boxes::gap(one.box, other.box);
    const double smaller = std::min(one.area, other.area);
    const double larger = std::max(one.area, other.area);
    if (smaller > 0.4 * larger && std::max(gap.x, gap.y) > 2) {
        return false;  // two equals that part: a split, not a fragment
    }
    const cv::Rect2d both = one.box | other.box;
    return gap.x < std::max(2.0, 0.15 * size.width) && gap.y < std::max(2.0, 0.2 * size.height) &&
           both.width < size.width * 1.3 && both.height < size.height * 1.3;
}

bool areStacked(const Blob& one, const Blob& other, double mostGap) {
    const cv::Point2d gap = Boxes::gap(one.box, other.box);
    return -gap.x > 0.5 * std::min(one.box.width, other.box.width) && gap.y < mostGap && gap.y >= 0;
}

}  // namespace

std::vector<Blob> BlobFinder::find(Segmenter& segmenter, const std::vector<Expectation>& expected,
                                   const AnalysisSettings& settings) {
    const cv::Size view = segmenter.mask().size();
    const double leastArea = settings.leastShare * view.area();
    std::vector<Blob> blobs =
        join(findPieces(segmenter, leastArea * pieceShare), expected, view.height * joinGapShare);
    std::erase_if(blobs, [&](const Blob& blob) { return blob.area < leastArea; });
    const auto most = static_cast<std::size_t>(settings.mostBlobs);
    if (blobs.size() > most) {
        std::partial_sort(blobs.begin(), blobs.begin() + settings.mostBlobs, blobs.end(),
                          [](const Blob& a, const Blob& b) { return a.area > b.area; });
        blobs.resize(most);
    }
    return blobs;
}

std::vector<Blob> BlobFinder::join(const std::vector<Blob>& pieces,
                                   const std::vector<Expectation>& expected, double gap) {
    if (pieces.empty()) {
        return {};  // cv::partition must not see an empty vector
    }
    std::vector<int> owner;
    owner.reserve(pieces.size());
    for (const Blob& piece : pieces) {
        owner.push_back(ownerOf(piece, expected));
    }
    std::vector<std::size_t> index(pieces.size());
    std::iota(index.begin(), index.end(), std::size_t{0});
    std::vector<int> label;
    const int count = cv::partition(index, label, [&](std::size_t i, std::size_t j) {
        if (i == j) {
            return true;
        }
        if (owner[i] != nobody && owner[i] == owner[j]) {
            return belongToTrack(pieces[i], pieces[j],
                                 expected[static_cast<std::size_t>(owner[i])].size);
        }
        return areStacked(pieces[i], pieces[j], gap);
    });
    std::vector<Blob> joined(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        Blob& whole = joined[static_cast<std::size_t>(label[i])];
        if (whole.points.empty()) {
            whole = pieces[i];
            continue;
        }
        whole.points.insert(whole.points.end(), pieces[i].points.begin(), pieces[i].points.end());
        whole.box |= pieces[i].box;
        whole.area += pieces[i].area;
        whole.single = false;
    }
    return joined;
}
