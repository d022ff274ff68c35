#include "video/stream_table.h"

#include <gtest/gtest.h>

namespace {

std::vector<std::string> sizesOf(const StreamTable& table) {
    std::vector<std::string> sizes;
    for (const Stream& stream : table.getStreams()) {
        if (stream.rotation == 0) {
            sizes.push_back(std::to_string(stream.width) + "x" + std::to_string(stream.height));
        }
    }
    return sizes;
}

using Sizes = std::vector<std::string>;

TEST(StreamTable, OffersTheNativeSizeAndSmallerOnesOfItsRatio) {
    EXPECT_EQ(sizesOf(StreamTable({{1280, 960}})), (Sizes{"1280x960", "640x480", "320x240"}));
    EXPECT_EQ(sizesOf(StreamTable({{768, 576}})),
              (Sizes{"768x576", "1280x960", "640x480", "320x240"}));
}

TEST(StreamTable, LeavesOutSizesThatAreNotWholeBlocksOrBendTheRatio) {
    EXPECT_EQ(sizesOf(StreamTable({{1920, 1080}})), (Sizes{"1920x1080", "1280x720"}));
    EXPECT_EQ(sizesOf(StreamTable({{1366, 768}})), (Sizes{"1366x768"}));
}

TEST(StreamTable, KeepsANativeSizeThatIsNoWholeBlocks) {
    EXPECT_EQ(sizesOf(StreamTable({{100, 50}})),
              (Sizes{"100x50", "1280x640", "640x320", "320x160"}));
}

TEST(StreamTable, OffersEachSizeAtTheFourRotationsAndCountsFromOne) {
    const StreamTable table({{1920, 1080}, {1366, 768}});
    const std::vector<Stream> expected = {
        {1, 1, 1920, 1080, 0},   {2, 1, 1920, 1080, 90},  {3, 1, 1920, 1080, 180},
        {4, 1, 1920, 1080, 270}, {5, 1, 1280, 720, 0},    {6, 1, 1280, 720, 90},
        {7, 1, 1280, 720, 180},  {8, 1, 1280, 720, 270},  {9, 2, 1366, 768, 0},
        {10, 2, 1366, 768, 90},  {11, 2, 1366, 768, 180}, {12, 2, 1366, 768, 270}};
    EXPECT_EQ(table.getStreams(), expected);
}

TEST(StreamTable, FindsStreamsByIdAndByWhatTheyAre) {
    const StreamTable table({{1920, 1080}, {1366, 768}});
    EXPECT_EQ(table.find(7), (Stream{7, 1, 1280, 720, 180}));
    EXPECT_EQ(table.find(0), std::nullopt);
    EXPECT_EQ(table.find(13), std::nullopt);
    EXPECT_EQ(table.find(2, 1366, 768, 270), (Stream{12, 2, 1366, 768, 270}));
    EXPECT_EQ(table.find(2, 1280, 720, 0), std::nullopt);
    EXPECT_EQ(table.find(1, 1280, 720, 45), std::nullopt);
    EXPECT_EQ(table.findNative(1, 90), (Stream{2, 1, 1920, 1080, 90}));
    EXPECT_EQ(table.findNative(3, 0), std::nullopt);
}

TEST(Stream, IsSeenTurned) {
    const Stream stream = {2, 1, 1280, 720, 90};
    EXPECT_EQ(stream.shownWidth(), 720);
    EXPECT_EQ(stream.shownHeight(), 1280);
    const Stream upsideDown = {3, 1, 1280, 720, 180};
    EXPECT_EQ(upsideDown.shownWidth(), 1280);
    EXPECT_EQ(upsideDown.shownHeight(), 720);
}

}  // namespace
