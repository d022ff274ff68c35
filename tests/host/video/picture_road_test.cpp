// Both ends of the pictures' road against each other.

#include <gmock/gmock.h>

#include "engine/picture_feed.h"
#include "picture_collector.h"
#include "support/picture_frames.h"
#include "support/temporary_folder.h"
#include "video/picture_receiver.h"

using PictureFrames::isSame;
using PictureFrames::uniform;

namespace {

constexpr std::int64_t ms = 1'000'000;

class PictureRoad : public testing::Test {
protected:
    void SetUp() override { av_log_set_level(AV_LOG_QUIET); }

    void startService() { service = std::make_unique<PictureReceiver>(path, 2, sink); }

    std::vector<std::int64_t> takeTimes(std::size_t count) {
        std::vector<std::int64_t> times;
        for (const auto& entry : sink.take(count)) {
            times.push_back(entry.time);
        }
        return times;
    }

    TemporaryFolder folder;
    const std::string path = folder.path("pictures.sock");
    PictureCollector sink;
    std::unique_ptr<PictureReceiver> service;
    const AvFrame picture = uniform(64, 48, {100, 90, 180});
};

}  // namespace

TEST_F(PictureRoad, CarriesEveryPoint) {
    startService();
    for (const auto& [width, height] : {std::pair(64, 48), std::pair(33, 17), std::pair(1, 1),
                                        std::pair(4095, 3), std::pair(2, 4096)}) {
        PictureFeed feed(path, 2, {});
        const AvFrame sent = uniform(width, height, {});
        for (int i = 0; i < 3; ++i) {
            PictureFrames::drawPattern(*sent, i);
            feed.onPicture({sent.get(), i});
            const auto taken = sink.take(1);
            ASSERT_EQ(taken.size(), 1u) << width << "x" << height;
            EXPECT_EQ(taken[0].camera, 2);
            EXPECT_EQ(taken[0].time, i);
            EXPECT_TRUE(isSame(*taken[0].frame, *sent)) << width << "x" << height;
        }
    }
}

TEST_F(PictureRoad, GoesOnWhenTheServiceComesAndComesBack) {
    PictureFeed feed(path, 1, {});
    feed.onPicture({picture.get(), 0});
    std::int64_t time = 0;
    for (int i = 0; i < 3; ++i) {
        startService();
        feed.onPicture({picture.get(), time += 500 * ms});
        EXPECT_THAT(takeTimes(1), testing::ElementsAre(time));
        service.reset();
        feed.onPicture({picture.get(), time += ms});
    }
}

TEST_F(PictureRoad, LetsARestartedEngineTakeOver) {
    startService();
    PictureFeed old(path, 1, {});
    old.onPicture({picture.get(), 1});
    EXPECT_THAT(takeTimes(1), testing::ElementsAre(1));
    PictureFeed restarted(path, 1, {});
    restarted.onPicture({picture.get(), 2});
    EXPECT_THAT(takeTimes(1), testing::ElementsAre(2));
    restarted.onPicture({picture.get(), 3});
    EXPECT_THAT(takeTimes(1), testing::ElementsAre(3));
}

TEST_F(PictureRoad, CarriesCamerasSideBySide) {
    startService();
    PictureFeed first(path, 1, {});
    PictureFeed second(path, 2, {});
    for (int i = 1; i <= 10; ++i) {
        first.onPicture({picture.get(), i});
        second.onPicture({picture.get(), i + 100});
        int cameras = 0;
        for (const auto& entry : sink.take(2)) {
            cameras |= entry.camera;
            EXPECT_EQ(entry.time, entry.camera == 1 ? i : i + 100);
        }
        EXPECT_EQ(cameras, 3);
    }
}

TEST_F(PictureRoad, LeavesPicturesOutWhileTheServiceIsBusy) {
    startService();
    PictureFeed feed(path, 1, {});
    sink.hold(true);
    feed.onPicture({picture.get(), 1});
    EXPECT_THAT(takeTimes(1), testing::ElementsAre(1));  // and its slot is free again
    for (int time = 2; time <= 9; ++time) {
        feed.onPicture({picture.get(), time});
    }
    sink.hold(false);
    EXPECT_THAT(takeTimes(4), testing::ElementsAre(2, 3, 4, 5));
    feed.onPicture({picture.get(), 10});
    EXPECT_THAT(takeTimes(1), testing::ElementsAre(10));
}

TEST_F(PictureRoad, BringsWhatTheDecoderGivesIntoOneForm) {
    startService();
    PictureFeed feed(path, 1, PictureShape{85, 48});
    const AvFrame full = uniform(64, 48, {255, 85, 255}, AV_PIX_FMT_YUVJ422P);
    feed.onPicture({full.get(), 1});
    const auto taken = sink.take(1);
    ASSERT_EQ(taken.size(), 1u);
    EXPECT_EQ(taken[0].frame->width, 85);
    EXPECT_TRUE(PictureFrames::isUniform(*taken[0].frame, {235, 90, 240}));
}
