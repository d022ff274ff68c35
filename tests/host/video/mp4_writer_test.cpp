#include "video/mp4_writer.h"

#include <gmock/gmock.h>

#include "host/video/mp4_reader.h"
#include "host/video/test_pictures.h"
#include "video/h264_encoder.h"

using testing::ElementsAre;
using testing::SizeIs;
using TestPictures::at;
using TestPictures::plain;
using TestPictures::varied;

namespace {

constexpr std::int64_t ms = 1'000;
constexpr std::int64_t start = 5'000'000'123;

std::vector<std::int64_t> timesOf(const Mp4Reader& file) {
    std::vector<std::int64_t> times;
    for (const Mp4Reader::Packet& packet : file.packets) {
        times.push_back(packet.time / ms);
    }
    return times;
}

}  // namespace

TEST(Mp4Writer, WritesAHeadAndThenAFragmentForEachPicture) {
    H264Encoder encoder(64, 48);
    Mp4Writer writer(encoder.getFormat());
    const std::string first = writer.write(*encoder.encode(*varied(64, 48), start, false));
    EXPECT_THAT(mp4BoxesOf(first), ElementsAre("ftyp", "moov", "moof", "mdat"));
    const std::string second =
        writer.write(*encoder.encode(*varied(64, 48), start + 40 * ms, false));
    EXPECT_THAT(mp4BoxesOf(second), ElementsAre("moof", "mdat"));
}

TEST(Mp4Writer, IsPlayedFromTimeZeroInTheColorsThatCameIn) {
    H264Encoder encoder(64, 48);
    Mp4Writer writer(encoder.getFormat());
    std::string bytes;
    const std::vector<std::int64_t> times = {0, 40, 95, 195, 1195};
    for (const std::int64_t time : times) {
        const int luma = time == 195 ? 200 : 81;
        bytes +=
            writer.write(*encoder.encode(*plain(64, 48, luma, 90, 220), start + time * ms, false));
    }
    const Mp4Reader file(bytes);
    ASSERT_TRUE(file.isOpen);
    EXPECT_EQ(file.videoFormat, "avc1");
    EXPECT_EQ(file.width, 64);
    EXPECT_EQ(file.height, 48);
    EXPECT_EQ(timesOf(file), times);
    ASSERT_THAT(file.pictures, SizeIs(5));
    EXPECT_EQ(file.pictures[0]->format, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(file.pictures[0]->colorspace, AVCOL_SPC_SMPTE170M);
    EXPECT_EQ(file.pictures[0]->color_range, AVCOL_RANGE_MPEG);
    EXPECT_NEAR(at(*file.pictures[0], 0, 20, 20), 81, 3);
    EXPECT_NEAR(at(*file.pictures[0], 1, 10, 10), 90, 3);
    EXPECT_NEAR(at(*file.pictures[0], 2, 10, 10), 220, 3);
    EXPECT_NEAR(at(*file.pictures[3], 0, 20, 20), 200, 3);
    EXPECT_NEAR(at(*file.pictures[4], 0, 20, 20), 81, 3);
}

TEST(Mp4Writer, LetsASecondViewerBeginAtALaterKeyPicture) {
    H264Encoder encoder(64, 48);
    Mp4Writer early(encoder.getFormat());
    std::string bytesOfEarly;
    for (int i = 0; i < 5; ++i) {
        bytesOfEarly += early.write(*encoder.encode(*varied(64, 48), start + i * 40 * ms, false));
    }
    Mp4Writer late(encoder.getFormat());
    std::string bytesOfLate;
    for (int i = 5; i < 8; ++i) {
        const auto picture = encoder.encode(*varied(64, 48), start + i * 40 * ms, i == 5);
        bytesOfEarly += early.write(*picture);
        bytesOfLate += late.write(*picture);
    }
    const Mp4Reader first(bytesOfEarly);
    const Mp4Reader second(bytesOfLate);
    EXPECT_THAT(timesOf(first), ElementsAre(0, 40, 80, 120, 160, 200, 240, 280));
    EXPECT_THAT(timesOf(second), ElementsAre(0, 40, 80));
    EXPECT_TRUE(second.packets[0].isKey);
    EXPECT_FALSE(second.packets[1].isKey);
    EXPECT_THAT(second.pictures, SizeIs(3));
}

TEST(Mp4Writer, IsRightAgainSoonAfterPicturesComeFasterThanTold) {
    H264Encoder encoder(64, 48);
    Mp4Writer writer(encoder.getFormat());
    std::string bytes;
    for (const std::int64_t time : {0, 100, 200, 240, 280, 320, 360}) {
        bytes += writer.write(*encoder.encode(*varied(64, 48), start + time * ms, false));
    }
    EXPECT_THAT(timesOf(Mp4Reader(bytes)), ElementsAre(0, 100, 200, 300, 301, 320, 360));
}

TEST(Mp4Writer, SaysNothingWhateverTheTimes) {
    testing::internal::CaptureStderr();
    for (const std::vector<std::int64_t>& times :
         {std::vector<std::int64_t>{0, 1, 2, 3},
          {0, 40'000, 40'001, 80'000, 80'007},
          {0, 3'600'000'000, 3'600'000'003},
          {0, 33'333, 66'667, 100'000, 133'333, 100'000'000}}) {
        H264Encoder encoder(64, 48);
        Mp4Writer writer(encoder.getFormat());
        for (const std::int64_t time : times) {
            writer.write(*encoder.encode(*varied(64, 48), start + time, false));
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Mp4Writer, GoesOnAfterPicturesThatWereLeftOut) {
    H264Encoder encoder(64, 48);
    Mp4Writer writer(encoder.getFormat());
    std::string bytes;
    for (int i = 0; i < 30; ++i) {
        const auto picture = encoder.encode(*varied(64, 48), start + i * 40 * ms, i == 25);
        if (i < 3 || i >= 25) {
            bytes += writer.write(*picture);
        }
    }
    const Mp4Reader file(bytes);
    EXPECT_THAT(timesOf(file), ElementsAre(0, 40, 80, 1000, 1040, 1080, 1120, 1160));
    EXPECT_THAT(file.pictures, SizeIs(8));
}
