#include "video/h264_encoder.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "host/video/test_pictures.h"

using testing::ElementsAre;
using TestPictures::plain;
using TestPictures::varied;

namespace {

constexpr std::int64_t ms = 1'000;

}  // namespace

TEST(H264Encoder, BeginsWithAKeyPicture) {
    H264Encoder encoder(64, 48);
    EXPECT_TRUE(encoder.encode(*varied(64, 48), 0, false)->isKey);
    EXPECT_FALSE(encoder.encode(*varied(64, 48), 40 * ms, false)->isKey);
}

TEST(H264Encoder, MakesAKeyPictureOnDemand) {
    H264Encoder encoder(64, 48);
    std::vector<bool> keys;
    for (int i = 0; i < 6; ++i) {
        keys.push_back(encoder.encode(*varied(64, 48), i * 40 * ms, i == 3)->isKey);
    }
    EXPECT_THAT(keys, ElementsAre(true, false, false, true, false, false));
}

TEST(H264Encoder, MakesAKeyPictureEveryTwoSeconds) {
    H264Encoder encoder(64, 48);
    std::vector<std::int64_t> keys;
    for (std::int64_t time = 0; time <= 5000 * ms; time += 100 * ms) {
        if (encoder.encode(*varied(64, 48), time, time == 700 * ms)->isKey) {
            keys.push_back(time / ms);
        }
    }
    EXPECT_THAT(keys, ElementsAre(0, 700, 2700, 4700));
}

TEST(H264Encoder, MakesNoKeyPictureForANewScene) {
    H264Encoder encoder(64, 48);
    encoder.encode(*plain(64, 48, 20), 0, false);
    EXPECT_FALSE(encoder.encode(*plain(64, 48, 220), 40 * ms, false)->isKey);
    EXPECT_FALSE(encoder.encode(*varied(64, 48), 80 * ms, false)->isKey);
}

TEST(H264Encoder, GivesEachPictureATimeOfItsOwn) {
    H264Encoder encoder(64, 48);
    std::vector<std::int64_t> times;
    for (const std::int64_t time : {1000, 1000, 900, 5000}) {
        times.push_back(encoder.encode(*varied(64, 48), time, false)->time);
    }
    EXPECT_THAT(times, ElementsAre(1000, 1001, 1002, 5000));
}

TEST(H264Encoder, LeavesOutTheLastColumnAndLineOfOddSizes) {
    H264Encoder encoder(65, 49);
    EXPECT_EQ(encoder.getFormat().width, 64);
    EXPECT_EQ(encoder.getFormat().height, 48);
    EXPECT_FALSE(encoder.encode(*varied(65, 49), 0, false)->data.empty());
}

TEST(H264Encoder, RefusesASizeThatCannotBeEncoded) {
    EXPECT_THROW(H264Encoder(1, 1), std::runtime_error);
}
