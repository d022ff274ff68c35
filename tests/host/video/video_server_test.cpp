#include "video/video_server.h"

#include <gmock/gmock.h>

#include "host/video/fake_overlay_source.h"
#include "host/video/test_pictures.h"
#include "host/video/web_client.h"
#include "support/temporary_folder.h"
#include "video/stream_table.h"
#include "video/video_options.h"

using TestPictures::at;
using TestPictures::decodeJpeg;
using TestPictures::plain;

namespace {

class VideoServerTest : public testing::Test {
protected:
    WebClient connect() const { return WebClient(options.web); }

    TemporaryFolder folder;
    const VideoOptions options = {{{64, 48}, {1280, 720}},
                                  folder.path("pictures.sock"),
                                  folder.path("web.sock"),
                                  folder.path("config.json"),
                                  folder.path()};
    const StreamTable streams{options.cameras};
    FakeOverlaySource overlays;
};

}  // namespace

TEST_F(VideoServerTest, AnswersWithAGreyPictureBeforeThereIsOne) {
    const VideoServer server(options, streams, overlays);
    WebClient client = connect();
    client.request("/video/1.jpg");
    const WebClient::Head head = client.readHead();
    EXPECT_EQ(head.status, 200);
    EXPECT_EQ(head.fields.at("content-type"), "image/jpeg");
    EXPECT_EQ(head.fields.at("cache-control"), "no-store");
    const AvFrame picture = decodeJpeg(client.readBody());
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->width, 64);
    EXPECT_EQ(picture->height, 48);
    EXPECT_NEAR(at(*picture, 0, 10, 10), 130, 1);
}
