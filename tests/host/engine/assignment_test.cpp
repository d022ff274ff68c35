#include "engine/assignment.h"

#include <gmock/gmock.h>

#include "engine/object_track.h"

using testing::ElementsAre;

namespace {

Blob blobAt(double x, double y, double size = 20) {
    const cv::Rect2d box(x, y, size, size);
    return {{cv::Point(box.tl()), cv::Point(box.br())}, box, size * size, true};
}

std::vector<ObjectTrack> tracksAt(const std::vector<Blob>& blobs) {
    std::vector<ObjectTrack> tracks;
    for (const Blob& blob : blobs) {
        tracks.emplace_back(blob, 0.0);
        tracks.back().predict(0.1);
    }
    return tracks;
}

}  // namespace

TEST(Assignment, IsEmptyWhereThereIsNothing) {
    EXPECT_THAT(Assignment::solve({}, {blobAt(0, 0)}), ElementsAre());
    EXPECT_THAT(Assignment::solve(tracksAt({blobAt(0, 0)}), {}), ElementsAre(Assignment::none));
}

TEST(Assignment, GivesEachTrackItsBlob) {
    EXPECT_THAT(Assignment::solve(tracksAt({blobAt(0, 0), blobAt(100, 0), blobAt(200, 0)}),
                                  {blobAt(202, 0), blobAt(2, 0), blobAt(102, 0)}),
                ElementsAre(1, 2, 0));
}

TEST(Assignment, TakesTheLeastSumNotTheNearestFirst) {
    // The second track is nearest to the first blob, but that is the first track's only one.
    EXPECT_THAT(
        Assignment::solve(tracksAt({blobAt(0, 0), blobAt(14, 0)}), {blobAt(9, 0), blobAt(26, 0)}),
        ElementsAre(0, 1));
}

TEST(Assignment, LeavesOutWhatIsTooFarOrTooDifferent) {
    EXPECT_THAT(Assignment::solve(tracksAt({blobAt(0, 0)}), {blobAt(200, 0)}),
                ElementsAre(Assignment::none));
    EXPECT_THAT(Assignment::solve(tracksAt({blobAt(0, 0)}), {blobAt(12, 12, 100)}),
                ElementsAre(Assignment::none));
}

TEST(Assignment, GivesNoBlobToTwoTracks) {
    const auto assigned = Assignment::solve(tracksAt({blobAt(0, 0), blobAt(6, 0)}), {blobAt(1, 0)});
    EXPECT_THAT(assigned, ElementsAre(0, Assignment::none));
}
