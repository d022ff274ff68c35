#include "video/stream_painter.h"

#include <gmock/gmock.h>

#include "host/video/fake_overlay_source.h"
#include "host/video/mp4_reader.h"
#include "host/video/test_pictures.h"
#include "video/mp4_writer.h"
#include "video/user_overlay_renderer.h"

using TestPictures::at;
using TestPictures::bandOf;
using TestPictures::decodeJpeg;
using TestPictures::plain;

namespace {

constexpr StreamDemand onlyJpeg = {true, false, false};
constexpr StreamDemand onlyVideo = {false, true, false};

class StreamPainterTest : public testing::Test {
protected:
    static OverlaySnapshot withRedAt(int left, int top, int width, int height) {
        OverlaySnapshot snapshot;
        snapshot.palette[4] = {255, 0, 0, 255};
        snapshot.bands.push_back(bandOf(left, top, width, height, 4));
        return snapshot;
    }

    FakeOverlaySource overlays;
    UserOverlayRenderer userOverlays;
};

bool isRed(const AVFrame& picture, int x, int y) {
    return at(picture, 2, x / 2, y / 2) > 200;
}

}  // namespace

TEST_F(StreamPainterTest, EncodesWhatIsWanted) {
    StreamPainter painter({1, 1, 64, 48, 0}, overlays, userOverlays);
    const ComposedPicture still = painter.paint(*plain(64, 48), 0, onlyJpeg);
    EXPECT_TRUE(still.jpeg);
    EXPECT_FALSE(still.video);
    const ComposedPicture video = painter.paint(*plain(64, 48), 40'000, onlyVideo);
    EXPECT_FALSE(video.jpeg);
    EXPECT_TRUE(video.video);
    EXPECT_TRUE(video.videoFormat);
    const ComposedPicture both = painter.paint(*plain(64, 48), 80'000, {true, true, false});
    EXPECT_TRUE(both.jpeg);
    EXPECT_TRUE(both.video);
    EXPECT_EQ(both.videoFormat, video.videoFormat);
}

TEST_F(StreamPainterTest, DrawsOverlaysWhereTheyAreSeenAtEachRotation) {
    overlays.set(withRedAt(8, 16, 16, 8));
    for (const int rotation : {0, 90, 180, 270}) {
        const Stream stream = {1, 1, 64, 48, rotation};
        StreamPainter painter(stream, overlays, userOverlays);
        const AvFrame picture = decodeJpeg(*painter.paint(*plain(128, 96), 0, onlyJpeg).jpeg);
        ASSERT_TRUE(picture);
        ASSERT_EQ(picture->width, stream.shownWidth());
        ASSERT_EQ(picture->height, stream.shownHeight());
        EXPECT_TRUE(isRed(*picture, 12, 20));
        EXPECT_TRUE(isRed(*picture, 22, 22));
        EXPECT_FALSE(isRed(*picture, 4, 20));
        EXPECT_FALSE(isRed(*picture, 28, 20));
        EXPECT_FALSE(isRed(*picture, 12, 12));
        EXPECT_FALSE(isRed(*picture, 12, 28));
    }
}

TEST_F(StreamPainterTest, DrawsIntoTheVideoToo) {
    overlays.set(withRedAt(16, 16, 16, 16));
    StreamPainter painter({1, 1, 64, 48, 0}, overlays, userOverlays);
    std::string file;
    const ComposedPicture first = painter.paint(*plain(64, 48), 0, onlyVideo);
    Mp4Writer writer(*first.videoFormat);
    file += writer.write(*first.video);
    overlays.set({});
    file += writer.write(*painter.paint(*plain(64, 48), 40'000, onlyVideo).video);
    const Mp4Reader video(file);
    ASSERT_EQ(video.pictures.size(), 2u);
    EXPECT_TRUE(isRed(*video.pictures[0], 24, 24));
    EXPECT_FALSE(isRed(*video.pictures[0], 40, 40));
    EXPECT_FALSE(isRed(*video.pictures[1], 24, 24));
}

TEST_F(StreamPainterTest, ShowsUserOverlaysAboveTheBands) {
    OverlaySnapshot snapshot = withRedAt(0, 0, 320, 240);
    UserOverlay text;
    text.id = 1;
    text.text = "Gate 3";
    text.position = "bottomleft";
    text.height = 60;
    text.isScalable = false;
    snapshot.users.push_back(text);
    overlays.set(snapshot);
    StreamPainter painter({1, 1, 320, 240, 0}, overlays, userOverlays);
    const AvFrame picture = decodeJpeg(*painter.paint(*plain(320, 240), 0, onlyJpeg).jpeg);
    EXPECT_TRUE(isRed(*picture, 20, 100));
    EXPECT_NEAR(at(*picture, 0, 20, 100), 76, 4);  // red
    EXPECT_NEAR(at(*picture, 0, 6, 190), 38, 6);   // and half of it in the text's box
}

TEST_F(StreamPainterTest, BeginsAVideoThatIsWantedAgainWithAKeyPicture) {
    StreamPainter painter({1, 1, 64, 48, 0}, overlays, userOverlays);
    EXPECT_TRUE(painter.paint(*plain(64, 48), 0, onlyVideo).video->isKey);
    EXPECT_FALSE(painter.paint(*plain(64, 48), 40'000, onlyVideo).video->isKey);
    painter.paint(*plain(64, 48), 80'000, onlyJpeg);
    EXPECT_TRUE(painter.paint(*plain(64, 48), 120'000, onlyVideo).video->isKey);
}

TEST_F(StreamPainterTest, CopesWithStreamsOfOddSize) {
    overlays.set(withRedAt(10, 10, 100, 100));
    for (const int rotation : {0, 90, 180, 270}) {
        StreamPainter painter({1, 1, 65, 49, rotation}, overlays, userOverlays);
        const ComposedPicture picture = painter.paint(*plain(123, 77), 0, {true, true, true});
        const AvFrame still = decodeJpeg(*picture.jpeg);
        ASSERT_TRUE(still);
        EXPECT_EQ(still->width, rotation % 180 == 0 ? 65 : 49);
        EXPECT_EQ(picture.videoFormat->width, rotation % 180 == 0 ? 64 : 48);
        EXPECT_EQ(picture.videoFormat->height, rotation % 180 == 0 ? 48 : 64);
    }
}
