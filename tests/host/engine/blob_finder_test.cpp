#include "engine/blob_finder.h"

#include <gmock/gmock.h>

namespace {

constexpr double gap = 3;

Blob blobOf(const cv::Rect& box) {
    return {{box.tl(), {box.x, box.br().y}, box.br(), {box.br().x, box.y}},
            cv::Rect2d(box),
            static_cast<double>(box.area()),
            true};
}

Expectation expecting(const cv::Rect& box) {
    return {cv::Rect2d(box), cv::Size2d(box.size())};
}

}  // namespace

TEST(BlobFinder, JoinsNothingToNothing) {
    EXPECT_TRUE(BlobFinder::join({}, {expecting({0, 0, 10, 10})}, gap).empty());
}

TEST(BlobFinder, JoinsPiecesStackedWithASmallGap) {
    const auto joined =
        BlobFinder::join({blobOf({10, 10, 20, 20}), blobOf({12, 32, 20, 20})}, {}, gap);
    ASSERT_EQ(joined.size(), 1u);
    EXPECT_EQ(joined[0].box, cv::Rect2d(10, 10, 22, 42));
    EXPECT_EQ(joined[0].area, 800);
    EXPECT_EQ(joined[0].points.size(), 8u);
    EXPECT_FALSE(joined[0].single);
}

TEST(BlobFinder, LeavesPiecesApartThatAreFarOrBesideEachOther) {
    EXPECT_EQ(
        BlobFinder::join({blobOf({10, 10, 20, 20}), blobOf({12, 34, 20, 20})}, {}, gap).size(), 2u);
    EXPECT_EQ(
        BlobFinder::join({blobOf({10, 10, 20, 20}), blobOf({32, 10, 20, 20})}, {}, gap).size(), 2u);
}

TEST(BlobFinder, JoinsAFragmentThatATrackExpects) {
    const std::vector<Blob> pieces = {blobOf({10, 10, 20, 30}), blobOf({12, 45, 8, 8})};
    EXPECT_EQ(BlobFinder::join(pieces, {}, gap).size(), 2u);
    EXPECT_EQ(BlobFinder::join(pieces, {expecting({10, 10, 20, 45})}, gap).size(), 1u);
}

TEST(BlobFinder, LeavesTwoEqualsApartThatATrackExpects) {
    const std::vector<Blob> pieces = {blobOf({10, 10, 20, 20}), blobOf({10, 34, 20, 20})};
    EXPECT_EQ(BlobFinder::join(pieces, {expecting({10, 10, 20, 45})}, gap).size(), 2u);
}

TEST(BlobFinder, LeavesPiecesApartThatSeveralTracksExpect) {
    const std::vector<Blob> pieces = {blobOf({10, 10, 20, 30}), blobOf({12, 45, 8, 8})};
    EXPECT_EQ(
        BlobFinder::join(pieces, {expecting({10, 10, 20, 45}), expecting({10, 10, 20, 44})}, gap)
            .size(),
        2u);
}
