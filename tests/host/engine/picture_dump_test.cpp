#include "engine/picture_dump.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>

#include "engine/source_error.h"
#include "support/temporary_folder.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

constexpr std::int64_t ms = 1'000'000;

/// A picture whose left half is black and whose right half is white.
AvFrame halves(int width, int height, AVRational pixel = {1, 1}) {
    AvFrame frame(av_frame_alloc());
    frame->width = width;
    frame->height = height;
    frame->format = AV_PIX_FMT_YUV420P;
    frame->sample_aspect_ratio = pixel;
    av_frame_get_buffer(frame.get(), 0);
    for (int y = 0; y < height; ++y) {
        std::memset(frame->data[0] + y * frame->linesize[0], 16, static_cast<std::size_t>(width));
        std::memset(frame->data[0] + y * frame->linesize[0] + width / 2, 235,
                    static_cast<std::size_t>(width - width / 2));
    }
    for (const int plane : {1, 2}) {
        std::memset(frame->data[plane], 128,
                    static_cast<std::size_t>(frame->linesize[plane] * (height + 1) / 2));
    }
    return frame;
}

AvFrame decoded(const std::string& content) {
    const AVCodec* kind = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
    const AvCodec decoder(avcodec_alloc_context3(kind));
    avcodec_open2(decoder.get(), kind, nullptr);
    const AvPacket packet(av_packet_alloc());
    av_new_packet(packet.get(), static_cast<int>(content.size()));
    std::memcpy(packet->data, content.data(), content.size());
    avcodec_send_packet(decoder.get(), packet.get());
    avcodec_send_packet(decoder.get(), nullptr);
    AvFrame frame(av_frame_alloc());
    return avcodec_receive_frame(decoder.get(), frame.get()) == 0 ? std::move(frame) : nullptr;
}

class PictureDumpTest : public testing::Test {
protected:
    void SetUp() override { av_log_set_level(AV_LOG_QUIET); }

    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path(""))) {
            all.push_back(entry.path().filename());
        }
        std::sort(all.begin(), all.end());
        return all;
    }

    /// The second time of each file's name.
    std::vector<std::string> times() const {
        std::vector<std::string> all;
        for (const std::string& name : names()) {
            all.push_back(name.substr(name.rfind('_') + 1));
        }
        return all;
    }

    void show(PictureDump& dump, std::int64_t time) { dump.onPicture({frame.get(), time}); }

    const AvFrame frame = halves(64, 48);
    TemporaryFolder folder;
};

}  // namespace

TEST_F(PictureDumpTest, NamesAPictureByCameraAndTheTimesOfItsScene) {
    PictureDump dump(folder.path(""), 2);
    show(dump, 5'025'040'000'999);
    EXPECT_THAT(names(),
                ElementsAre(MatchesRegex("camera2_[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:"
                                         "[0-9]{2}:[0-9]{2}[.][0-9]{6}Z_5025040000[.]jpg")));
}

TEST_F(PictureDumpTest, TellsTheTimeAsEventsDo) {
    using namespace std::chrono;
    const auto scene = steady_clock::now();
    const auto utc = system_clock::now();
    PictureDump dump(folder.path(""), 1);
    show(dump, duration_cast<nanoseconds>(scene.time_since_epoch()).count());
    ASSERT_EQ(names().size(), 1u);
    std::tm parts = {};
    const std::string text = names()[0].substr(std::strlen("camera1_"));
    ASSERT_STREQ(strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts), text.c_str() + 19);
    const auto told = system_clock::from_time_t(timegm(&parts)) +
                      microseconds(std::stoi(text.substr(std::strlen("2026-01-01T12:00:00."))));
    EXPECT_LT(abs(told - utc), milliseconds(50));
}

TEST_F(PictureDumpTest, WritesThePictureWithSquarePixels) {
    const AvFrame wide = halves(64, 48, {4, 3});
    PictureDump dump(folder.path(""), 1);
    dump.onPicture({wide.get(), 0});
    ASSERT_EQ(names().size(), 1u);
    const AvFrame picture = decoded(folder.read(names()[0]));
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->width, 85);
    EXPECT_EQ(picture->height, 48);
    EXPECT_LT(picture->data[0][20 * picture->linesize[0] + 10], 8);
    EXPECT_GT(picture->data[0][20 * picture->linesize[0] + 75], 247);
}

TEST_F(PictureDumpTest, FollowsPicturesToAnotherSize) {
    PictureDump dump(folder.path(""), 1);
    for (const auto& [width, time] : {std::pair(64, 1), std::pair(128, 2), std::pair(33, 3)}) {
        const AvFrame picture = halves(width, 48);
        dump.onPicture({picture.get(), time * ms});
    }
    ASSERT_EQ(names().size(), 3u);
    std::vector<int> widths;
    for (const std::string& name : names()) {
        widths.push_back(decoded(folder.read(name))->width);
    }
    EXPECT_THAT(widths, ElementsAre(64, 128, 33));
}

TEST_F(PictureDumpTest, KeepsNoMoreThanAskedAndTheLast) {
    PictureDump dump(folder.path(""), 1, 3);
    for (int i = 1; i <= 5; ++i) {
        show(dump, i * ms);
    }
    EXPECT_THAT(times(), ElementsAre("3000.jpg", "4000.jpg", "5000.jpg"));
}

TEST_F(PictureDumpTest, CountsWhatAnEarlierEngineHasLeft) {
    for (int i = 1; i <= 3; ++i) {
        PictureDump dump(folder.path(""), 1, 2);
        show(dump, i * ms);
    }
    EXPECT_THAT(times(), ElementsAre("2000.jpg", "3000.jpg"));
}

TEST_F(PictureDumpTest, LeavesOtherCamerasAndFilesAlone) {
    folder.write("camera1.jpg", "");
    folder.write("camera10_1970-01-01T00:00:00.000000Z_0.jpg", "");
    folder.write("camera1_notes.txt", "");
    PictureDump dump(folder.path(""), 1, 0);
    show(dump, ms);
    EXPECT_THAT(names(), ElementsAre("camera1.jpg", "camera10_1970-01-01T00:00:00.000000Z_0.jpg",
                                     "camera1_notes.txt"));
}

TEST_F(PictureDumpTest, RefusesAFolderThatIsNotThere) {
    try {
        PictureDump(folder.path("none"), 1);
        FAIL() << "accepted";
    } catch (const SourceError& error) {
        EXPECT_EQ(error.what(), folder.path("none") + ": No such file or directory");
    }
}

TEST_F(PictureDumpTest, TellsOnceThatPicturesCannotBeKept) {
    std::filesystem::create_directory(folder.path("lost"));
    PictureDump dump(folder.path("lost"), 1);
    std::filesystem::remove(folder.path("lost"));
    testing::internal::CaptureStderr();
    show(dump, ms);
    show(dump, 2 * ms);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "plinth: " + folder.path("lost") +
                  ": a picture could not be kept: No such file or directory\n");
    std::filesystem::create_directory(folder.path("lost"));
    show(dump, 3 * ms);
    EXPECT_FALSE(std::filesystem::is_empty(folder.path("lost")));
}

TEST_F(PictureDumpTest, LeavesOutAPictureThatJpegCannotHold) {
    const AvFrame wide = halves(64, 48, {2000, 1});
    PictureDump dump(folder.path(""), 1);
    testing::internal::CaptureStderr();
    dump.onPicture({wide.get(), ms});
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("it is too large"));
    EXPECT_THAT(names(), IsEmpty());
}
