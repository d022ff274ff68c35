#include "video/video_server.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <iterator>
#include <random>
#include <thread>

#include "host/video/fake_overlay_source.h"
#include "host/video/mp4_reader.h"
#include "host/video/test_pictures.h"
#include "host/video/web_client.h"
#include "support/temporary_folder.h"
#include "support/wait_for.h"
#include "video/picture_queue.h"
#include "video/stream_table.h"
#include "video/video_options.h"

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using TestPictures::at;
using TestPictures::bandOf;
using TestPictures::decodeJpeg;
using TestPictures::plain;

namespace {

std::string sizeOf(const AVFrame& picture) {
    return std::to_string(picture.width) + "x" + std::to_string(picture.height);
}

/// A picture that cannot be made small.
AvFrame noise(int width, int height, unsigned seed) {
    AvFrame frame = plain(width, height);
    std::mt19937 random(seed);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            frame->data[0][y * frame->linesize[0] + x] = static_cast<std::uint8_t>(random());
        }
    }
    return frame;
}

auto openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

/// The parts of a multipart body, one after the other.
class Parts {
public:
    explicit Parts(WebClient& source) : client(source) {}

    /// The next part's picture; null at the end. Fails the test where the form is not kept.
    AvFrame next() {
        if (!hasBegun) {
            hasBegun = true;
            EXPECT_EQ(line(), "--picture");
        }
        const std::string type = line();
        if (type.empty()) {
            return nullptr;
        }
        EXPECT_EQ(type, "Content-Type: image/jpeg");
        const std::string length = line();
        EXPECT_THAT(length, StartsWith("Content-Length: "));
        EXPECT_EQ(line(), "");
        const std::string jpeg = bytes(std::stoul(length.substr(16)));
        EXPECT_EQ(line(), "");
        EXPECT_EQ(line(), "--picture");
        return decodeJpeg(jpeg);
    }

private:
    std::string line() {
        std::size_t end = rest.find("\r\n");
        while (end == std::string::npos) {
            const auto chunk = client.readChunk();
            if (!chunk) {
                return "";
            }
            rest += *chunk;
            end = rest.find("\r\n");
        }
        return cut(end, end + 2);
    }

    std::string bytes(std::size_t size) {
        while (rest.size() < size) {
            rest += client.readChunk().value_or("");
        }
        return cut(size, size);
    }

    std::string cut(std::size_t size, std::size_t used) {
        std::string result = rest.substr(0, size);
        rest.erase(0, used);
        return result;
    }

    WebClient& client;
    std::string rest;
    bool hasBegun = false;
};

class VideoServerTest : public testing::Test {
protected:
    void start(VideoWeb::Limits limits = {}) {
        server = std::make_unique<VideoServer>(options, streams, overlays, limits);
    }

    WebClient connect() const { return WebClient(options.web); }

    AvFrame fetch(const std::string& target) const {
        WebClient client = connect();
        client.request(target);
        EXPECT_EQ(client.readHead().status, 200) << target;
        AvFrame picture = decodeJpeg(client.readBody());
        EXPECT_TRUE(picture) << target;
        return picture ? std::move(picture) : plain(64, 48, 0, 0, 0);
    }

    std::string refusalOf(const std::string& target, const std::string& method = "GET") const {
        WebClient client = connect();
        client.request(target, method);
        const WebClient::Head head = client.readHead();
        EXPECT_EQ(head.fields.at("content-type"), "application/json") << target;
        EXPECT_EQ(head.fields.at("cache-control"), "no-store") << target;
        return std::to_string(head.status) + " " + client.readBody();
    }

    void configure(const std::string& cameras) const {
        folder.write("config.json.new", R"({"params": {"cameras": )" + cameras + "}}");
        std::filesystem::rename(folder.path("config.json.new"), options.configuration);
    }

    OverlaySnapshot withRedAt(int left, int top, int width, int height) const {
        OverlaySnapshot snapshot;
        snapshot.palette[4] = {255, 0, 0, 255};
        snapshot.bands.push_back(bandOf(left, top, width, height, 4));
        return snapshot;
    }

    TemporaryFolder folder;
    const VideoOptions options = {{{64, 48}, {1280, 960}},
                                  folder.path("pictures.sock"),
                                  folder.path("web.sock"),
                                  folder.path("config.json"),
                                  folder.path()};
    const StreamTable streams{options.cameras};
    FakeOverlaySource overlays;
    std::unique_ptr<VideoServer> server;
};

}  // namespace

TEST_F(VideoServerTest, AnswersWithAGreyPictureBeforeThereIsOne) {
    start();
    WebClient client = connect();
    client.request("/video/1.jpg");
    const WebClient::Head head = client.readHead();
    EXPECT_EQ(head.status, 200);
    EXPECT_EQ(head.fields.at("content-type"), "image/jpeg");
    EXPECT_EQ(head.fields.at("cache-control"), "no-store");
    const std::string body = client.readBody();
    EXPECT_EQ(head.fields.at("content-length"), std::to_string(body.size()));
    const AvFrame picture = decodeJpeg(body);
    ASSERT_TRUE(picture);
    EXPECT_EQ(sizeOf(*picture), "64x48");
    EXPECT_NEAR(at(*picture, 0, 10, 10), 130, 1);  // 128 in full range
    EXPECT_NEAR(at(*picture, 1, 5, 5), 128, 1);
    EXPECT_NEAR(at(*picture, 2, 5, 5), 128, 1);
}

TEST_F(VideoServerTest, AnswersWithTheLatestPictureOfTheCamera) {
    start();
    server->onPicture(1, *plain(64, 48, 235), 0);
    server->onPicture(2, *plain(1280, 960, 16), 0);
    std::this_thread::sleep_for(PictureQueue::delay);
    EXPECT_GE(at(*fetch("/video/1.jpg"), 0, 10, 10), 254);
    EXPECT_LE(at(*fetch("/video/2.jpg"), 0, 10, 10), 1);
}

TEST_F(VideoServerTest, LeavesOutPicturesOfNoUse) {
    start();
    const AvFrame strange = plain(64, 48, 235);
    strange->format = AV_PIX_FMT_YUV422P;
    server->onPicture(1, *strange, 0);
    server->onPicture(0, *plain(64, 48, 235), 0);
    server->onPicture(3, *plain(64, 48, 235), 0);
    std::this_thread::sleep_for(PictureQueue::delay);
    EXPECT_NEAR(at(*fetch("/video/1.jpg"), 0, 10, 10), 130, 1);
}

TEST_F(VideoServerTest, ShowsWhatLiesOverThePicture) {
    start();
    overlays.set(withRedAt(16, 16, 32, 16));
    const AvFrame picture = fetch("/video/1.jpg");
    EXPECT_GT(at(*picture, 2, 16, 12), 230);
    EXPECT_NEAR(at(*picture, 2, 2, 2), 128, 2);
}

TEST_F(VideoServerTest, AnswersWithNoPictureThatWasBegunBefore) {
    start();
    WebClient other = connect();
    other.request("/video/1");
    other.readHead();
    overlays.hold(true);
    const int before = overlays.countOfPictures();
    ASSERT_TRUE(waitFor([&] { return overlays.countOfPictures() > before; }));
    WebClient client = connect();
    client.request("/video/1.jpg");
    WebClient late = connect();
    late.request("/video/1.jpg", "HEAD");  // answered after the other has been taken
    EXPECT_EQ(late.readHead().status, 200);
    overlays.set(withRedAt(0, 0, 64, 48));
    overlays.hold(false);
    EXPECT_EQ(client.readHead().status, 200);
    const AvFrame picture = decodeJpeg(client.readBody());
    ASSERT_TRUE(picture);
    EXPECT_GT(at(*picture, 2, 16, 12), 230);
}

TEST_F(VideoServerTest, EndsTheConnectionAfterItsAnswer) {
    start();
    for (const std::string target : {"/video/1.jpg", "/video/9.jpg"}) {
        WebClient client = connect();
        client.request(target);
        EXPECT_EQ(client.readHead().fields.at("connection"), "close") << target;
        EXPECT_FALSE(client.readBody().empty()) << target;
        EXPECT_TRUE(client.isEnded()) << target;
    }
}

TEST_F(VideoServerTest, KeepsNoDescriptorOfThoseWhoHaveLeft) {
    start();
    fetch("/video/1.jpg");
    const auto before = openDescriptors();
    for (int i = 0; i < 10; ++i) {
        fetch("/video/1.jpg");
        refusalOf("/video/9.jpg");
        refusalOf("/video/1", "POST");
        for (const std::string target : {"/video/1", "/video/1.mp4"}) {
            WebClient client = connect();
            client.request(target, i % 2 == 0 ? "GET" : "HEAD");
            client.readHead();
        }
    }
    EXPECT_TRUE(waitFor([&] { return openDescriptors() <= before; })) << openDescriptors() - before;
}

TEST_F(VideoServerTest, ServesAnotherStreamThatIsAskedFor) {
    start();
    EXPECT_EQ(sizeOf(*fetch("/video/2.jpg?resolution=640x480&rotation=90")), "480x640");
    EXPECT_EQ(sizeOf(*fetch("/video/2.jpg?rotation=270")), "960x1280");
    EXPECT_EQ(sizeOf(*fetch("/video/2.jpg?resolution=640x480&t=17")), "640x480");
}

TEST_F(VideoServerTest, RefusesWhatThereIsNot) {
    start();
    EXPECT_EQ(refusalOf("/video/3.jpg"), R"(404 {"error":"there is no camera 3"})");
    EXPECT_EQ(refusalOf("/video/0"), R"(404 {"error":"there is no camera 0"})");
    EXPECT_EQ(refusalOf("/"), R"(404 {"error":"there is nothing here"})");
    EXPECT_EQ(refusalOf("/video/1.mp4?resolution=32x24"),
              R"(404 {"error":"camera 1 has no stream of 32x24 turned by 0 degrees"})");
    EXPECT_EQ(refusalOf("/video/1?resolution=%22%00"),
              R"(404 {"error":"resolution must be WIDTHxHEIGHT"})");
    EXPECT_EQ(refusalOf("/video/1?rotation=45"),
              R"(404 {"error":"camera 1 has no stream of 64x48 turned by 45 degrees"})");
}

TEST_F(VideoServerTest, RefusesOtherMethods) {
    start();
    for (const std::string method : {"POST", "PUT", "DELETE", "OPTIONS", "PATCH", "BREW"}) {
        WebClient client = connect();
        client.request("/video/1.jpg", method);
        const WebClient::Head head = client.readHead();
        EXPECT_EQ(head.status, 405) << method;
        EXPECT_EQ(head.fields.at("allow"), "GET, HEAD") << method;
        EXPECT_EQ(client.readBody(), R"({"error":"pictures can only be looked at"})") << method;
    }
    EXPECT_THAT(refusalOf("/video/3.jpg", "POST"), StartsWith("404 "));
}

TEST_F(VideoServerTest, RefusesAMethodWithABody) {
    start();
    WebClient client = connect();
    client.sendRaw("POST /video/1 HTTP/1.1\r\nHost: camera\r\nContent-Length: 70000\r\n\r\n" +
                   std::string(70000, 'x'));
    EXPECT_EQ(client.readHead().status, 405);
}

TEST_F(VideoServerTest, EndsAConnectionThatSpeaksNoHttp) {
    start();
    WebClient client = connect();
    client.sendRaw("\x16\x03\x01\r\n\r\n");
    EXPECT_TRUE(client.isEnded());
    EXPECT_TRUE(fetch("/video/1.jpg"));
}

TEST_F(VideoServerTest, TellsOnlyTheHeadWhenAskedForThat) {
    start();
    const std::map<std::string, std::string> types = {
        {"/video/1", "multipart/x-mixed-replace; boundary=picture"},
        {"/video/1.jpg", "image/jpeg"},
        {"/video/1.mp4", "video/mp4"}};
    for (const auto& [target, type] : types) {
        WebClient client = connect();
        client.request(target, "HEAD");
        const WebClient::Head head = client.readHead();
        EXPECT_EQ(head.status, 200) << target;
        EXPECT_EQ(head.fields.at("content-type"), type);
        EXPECT_EQ(head.fields.at("cache-control"), "no-store");
        EXPECT_EQ(client.readBody(), "") << target;
    }
    WebClient client = connect();
    client.request("/video/9", "HEAD");
    EXPECT_EQ(client.readHead().status, 404);
}

TEST_F(VideoServerTest, SendsOnePictureAfterTheOther) {
    start();
    WebClient client = connect();
    client.request("/video/1");
    const WebClient::Head head = client.readHead();
    EXPECT_EQ(head.status, 200);
    EXPECT_EQ(head.fields.at("content-type"), "multipart/x-mixed-replace; boundary=picture");
    EXPECT_EQ(head.fields.at("cache-control"), "no-store");
    Parts parts(client);
    EXPECT_NEAR(at(*parts.next(), 0, 10, 10), 130, 1);
    EXPECT_NEAR(at(*parts.next(), 0, 10, 10), 130, 1);  // the same once more
    server->onPicture(1, *plain(64, 48, 235), 0);
    AvFrame picture = parts.next();
    for (int i = 0; i < 5 && at(*picture, 0, 10, 10) < 200; ++i) {
        picture = parts.next();
    }
    EXPECT_GE(at(*picture, 0, 10, 10), 254);
}

TEST_F(VideoServerTest, ShowsEachPictureOfAFastCamera) {
    start();
    WebClient client = connect();
    client.request("/video/1");
    client.readHead();
    Parts parts(client);
    parts.next();
    for (int luma = 50; luma <= 230; luma += 30) {
        server->onPicture(1, *plain(64, 48, luma), 0);
        std::this_thread::sleep_for(30ms);
    }
    std::vector<int> seen;
    while (seen.empty() || seen.back() < 248) {
        const int luma = at(*parts.next(), 0, 10, 10);
        if (luma != 130 && (seen.empty() || seen.back() != luma)) {
            seen.push_back(luma);
        }
    }
    EXPECT_GE(seen.size(), 2u);  // all seven on a machine that is not too busy
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
}

TEST_F(VideoServerTest, SendsAnMp4FileThatPlaysFromItsBeginning) {
    start();
    server->onPicture(1, *plain(64, 48, 200), 0);
    std::this_thread::sleep_for(PictureQueue::delay);
    for (int viewer = 0; viewer < 2; ++viewer) {  // the second one joins a video that runs
        WebClient client = connect();
        client.request("/video/1.mp4");
        const WebClient::Head head = client.readHead();
        EXPECT_EQ(head.status, 200);
        EXPECT_EQ(head.fields.at("content-type"), "video/mp4");
        EXPECT_EQ(head.fields.at("cache-control"), "no-store");
        std::string file;
        for (int i = 0; i < 4; ++i) {
            file += client.readChunk().value_or("");
        }
        const Mp4Reader video(file);
        ASSERT_TRUE(video.isOpen);
        EXPECT_EQ(video.videoFormat, "avc1");
        ASSERT_GE(video.packets.size(), 4u);
        EXPECT_EQ(video.packets[0].time, 0);
        EXPECT_TRUE(video.packets[0].isKey);
        EXPECT_GT(video.packets[1].time, 0);
        EXPECT_LT(video.packets[3].time, 5'000'000);
        ASSERT_EQ(video.pictures.size(), video.packets.size());
        EXPECT_NEAR(at(*video.pictures[0], 0, 10, 10), 200, 3);
        EXPECT_NEAR(at(*video.pictures[3], 0, 10, 10), 200, 3);
    }
}

TEST_F(VideoServerTest, SharesAStreamAmongItsViewers) {
    start();
    std::vector<std::unique_ptr<WebClient>> clients;
    for (int i = 0; i < 8; ++i) {
        clients.push_back(std::make_unique<WebClient>(options.web));
        clients.back()->request(i % 2 == 0 ? "/video/1" : "/video/1.mp4");
        EXPECT_EQ(clients.back()->readHead().status, 200);
    }
    for (const auto& client : clients) {
        EXPECT_TRUE(client->readChunk());
    }
    const auto begin = steady_clock::now();
    const int before = overlays.countOfPictures();
    std::this_thread::sleep_for(500ms);
    const auto passed = (steady_clock::now() - begin) / PictureQueue::repeatInterval;
    EXPECT_LE(overlays.countOfPictures() - before, passed + 1);
}

TEST_F(VideoServerTest, ComposesNothingForWhoHasLeft) {
    start();
    for (const std::string target : {"/video/1", "/video/1.mp4", "/video/1.jpg"}) {
        WebClient client = connect();
        client.request(target);
        EXPECT_EQ(client.readHead().status, 200);
    }
    int last = -1;
    EXPECT_TRUE(waitFor([&] {
        const int before = std::exchange(last, overlays.countOfPictures());
        std::this_thread::sleep_for(3 * PictureQueue::repeatInterval);
        return before == overlays.countOfPictures();
    }));
}

TEST_F(VideoServerTest, TurnsAwayTheThirtyThirdViewer) {
    start();
    std::vector<std::unique_ptr<WebClient>> clients;
    for (int i = 0; i < 32; ++i) {
        clients.push_back(std::make_unique<WebClient>(options.web));
        clients.back()->request("/video/1");
        EXPECT_EQ(clients.back()->readHead().status, 200);
    }
    WebClient late = connect();
    late.request("/video/1.jpg");
    const WebClient::Head head = late.readHead();
    EXPECT_EQ(head.status, 503);
    EXPECT_EQ(head.fields.at("retry-after"), "1");
    EXPECT_EQ(late.readBody(), R"({"error":"too many are watching"})");
    WebClient curious = connect();
    curious.request("/video/1.jpg", "HEAD");
    EXPECT_EQ(curious.readHead().status, 200);
    clients.pop_back();
    EXPECT_TRUE(waitFor([&] {
        WebClient next = connect();
        next.request("/video/1.jpg");
        const bool isServed = next.readHead().status == 200;
        next.readBody();
        return isServed;
    }));
}

TEST_F(VideoServerTest, ChoosesTheStreamByTheConfiguration) {
    configure(R"([{"id": 2, "rotation": 90, "overlayResolution": "640x480"}])");
    start();
    EXPECT_EQ(sizeOf(*fetch("/video/2.jpg")), "480x640");
    EXPECT_EQ(sizeOf(*fetch("/video/2.jpg?rotation=0")), "640x480");
    EXPECT_EQ(sizeOf(*fetch("/video/2.jpg?resolution=1280x960")), "960x1280");
    EXPECT_EQ(sizeOf(*fetch("/video/1.jpg")), "64x48");
}

TEST_F(VideoServerTest, FollowsTheConfigurationWhileAViewerWatches) {
    start();
    WebClient client = connect();
    client.request("/video/2");
    client.readHead();
    Parts parts(client);
    EXPECT_EQ(sizeOf(*parts.next()), "1280x960");
    const auto waitForSize = [&](const std::string& size) {
        return waitFor([&] { return sizeOf(*parts.next()) == size; });
    };
    configure(R"([{"id": 2, "rotation": 90, "overlayResolution": "640x480"}])");
    EXPECT_TRUE(waitForSize("480x640"));
    configure(R"([{"id": 2, "rotation": 180, "overlayResolution": "320x200"}])");
    EXPECT_TRUE(waitForSize("1280x960"));  // there is no such stream
    folder.write("config.json", R"({"params": {"cameras": [{"id": 2, "rotation": 90}]}})");
    EXPECT_TRUE(waitForSize("960x1280"));
    std::filesystem::remove(options.configuration);
    EXPECT_TRUE(waitForSize("1280x960"));
}

TEST_F(VideoServerTest, EndsAVideoWhenTheConfigurationChoosesAnotherStream) {
    start();
    WebClient follower = connect();
    follower.request("/video/2.mp4");
    follower.readHead();
    EXPECT_TRUE(follower.readChunk());
    WebClient other = connect();
    other.request("/video/2.mp4?resolution=1280x960&rotation=0");
    other.readHead();
    EXPECT_TRUE(other.readChunk());
    configure(R"([{"id": 2, "rotation": 0, "overlayResolution": "640x480"}])");
    while (follower.readChunk()) {
    }
    WebClient again = connect();
    again.request("/video/2.mp4");
    EXPECT_EQ(again.readHead().status, 200);
    EXPECT_EQ(Mp4Reader(*again.readChunk()).width, 640);
    EXPECT_TRUE(other.readChunk());
}

TEST_F(VideoServerTest, SpeaksHttp10) {
    start();
    WebClient client = connect();
    client.sendRaw("GET /video/1.jpg HTTP/1.0\r\nHost: camera\r\n\r\n");
    EXPECT_EQ(client.readHead().status, 200);
    EXPECT_TRUE(decodeJpeg(client.readBody()));
    WebClient video = connect();
    video.sendRaw("GET /video/1 HTTP/1.0\r\nHost: camera\r\n\r\n");
    const WebClient::Head head = video.readHead();
    EXPECT_EQ(head.status, 200);
    EXPECT_EQ(head.fields.count("transfer-encoding"), 0u);
}

TEST_F(VideoServerTest, LeavesPicturesOutForWhoIsSlow) {
    start();
    const AvFrame picture = noise(1280, 960, 1);
    WebClient slow = connect();
    slow.request("/video/2");
    slow.readHead();
    WebClient quick = connect();
    quick.request("/video/2");
    quick.readHead();
    Parts parts(quick);
    for (int i = 0; i < 30; ++i) {  // far more than a connection takes unread
        server->onPicture(2, *picture, 0);
        ASSERT_TRUE(parts.next());
    }
    server->onPicture(2, *plain(1280, 960, 235), 0);
    while (at(*parts.next(), 0, 10, 10) < 250) {
    }
    Parts late(slow);
    int count = 1;
    while (at(*late.next(), 0, 10, 10) < 250) {
        ++count;
    }
    EXPECT_LT(count, 20);
}

TEST_F(VideoServerTest, GoesOnWithAKeyPictureForWhoWasSlow) {
    std::vector<AvFrame> pictures;  // more than a connection takes unread
    for (unsigned seed = 1; seed <= 12; ++seed) {
        pictures.push_back(noise(1280, 960, seed));
    }
    start();
    WebClient slow = connect();
    slow.request("/video/2.mp4");
    slow.readHead();
    WebClient quick = connect();
    quick.request("/video/2");
    quick.readHead();
    Parts parts(quick);
    for (const AvFrame& picture : pictures) {
        server->onPicture(2, *picture, 0);
        ASSERT_TRUE(parts.next());
    }
    const auto begin = steady_clock::now();
    while (steady_clock::now() < begin + 2500ms) {  // a key picture comes every two seconds
        ASSERT_TRUE(parts.next());
    }
    std::string file;
    for (int i = 0; i < 12; ++i) {
        file += slow.readChunk().value_or("");
    }
    const Mp4Reader video(file);
    EXPECT_EQ(video.pictures.size(), video.packets.size());
    // A busy machine makes further gaps, of pictures that there never were.
    std::int64_t longestGap = 0;
    bool isKeyBehindIt = false;
    for (std::size_t i = 1; i < video.packets.size(); ++i) {
        const std::int64_t gap = video.packets[i].time - video.packets[i - 1].time;
        if (gap > longestGap) {
            longestGap = gap;
            isKeyBehindIt = video.packets[i].isKey;
        }
    }
    EXPECT_GT(longestGap, 2'000'000);
    EXPECT_TRUE(isKeyBehindIt);
}

TEST_F(VideoServerTest, CutsOffWhoTakesNothing) {
    start({32, 300ms});
    server->onPicture(2, *noise(1280, 960, 1), 0);  // more than a connection takes unread
    std::this_thread::sleep_for(PictureQueue::delay);
    std::vector<std::unique_ptr<WebClient>> stuck;
    for (const std::string target : {"/video/2", "/video/2.mp4", "/video/2.jpg"}) {
        stuck.push_back(std::make_unique<WebClient>(options.web));
        stuck.back()->request(target);
    }
    for (const auto& client : stuck) {
        EXPECT_TRUE(waitFor([&] { return client->hasHungUp(); }));
        EXPECT_TRUE(client->isEnded());
    }
    EXPECT_TRUE(fetch("/video/1.jpg"));
}

TEST_F(VideoServerTest, KeepsWhoTakesWhatItGets) {
    start({32, 300ms});
    WebClient client = connect();
    client.request("/video/1");
    client.readHead();
    Parts parts(client);
    const auto begin = steady_clock::now();
    while (steady_clock::now() < begin + 2500ms) {
        ASSERT_TRUE(parts.next());
    }
}

TEST_F(VideoServerTest, EndsWithinASecondWhileOthersWatch) {
    start();
    std::vector<std::unique_ptr<WebClient>> clients;
    for (const std::string target : {"/video/1", "/video/1.mp4", "/video/2", "/video/2.mp4"}) {
        clients.push_back(std::make_unique<WebClient>(options.web));
        clients.back()->request(target);
        clients.back()->readHead();
        clients.back()->readChunk();
    }
    const auto begin = steady_clock::now();
    server.reset();
    EXPECT_LT(steady_clock::now() - begin, 1s);
    for (const auto& client : clients) {
        EXPECT_TRUE(client->isEnded());
    }
    EXPECT_FALSE(std::filesystem::exists(options.web));
}

TEST_F(VideoServerTest, EndsAtOnceAfterItsStart) {
    for (int i = 0; i < 20; ++i) {
        start();
        server.reset();
    }
    EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(VideoServerTest, TakesThePlaceOfASocketThatWasLeft) {
    start();
    const auto first = std::move(server);
    start();
    EXPECT_TRUE(fetch("/video/1.jpg"));
}

TEST_F(VideoServerTest, RefusesAPlaceWhereNoSocketCanBe) {
    VideoOptions elsewhere = options;
    elsewhere.web = folder.path("none/web.sock");
    try {
        VideoServer(elsewhere, streams, overlays);
        FAIL() << "made";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), elsewhere.web + ": No such file or directory");
    }
}

TEST_F(VideoServerTest, ServesCommonClients) {
    start();
    const std::string command = "curl -s --max-time 20 -o '" + folder.path("picture.jpg") +
                                "' -w '%{http_code} %{content_type}' --unix-socket '" +
                                options.web + "' http://camera/video/1.jpg";
    FILE* pipe = popen(command.c_str(), "r");
    char told[100] = {};
    EXPECT_NE(std::fgets(told, sizeof told, pipe), nullptr);
    EXPECT_EQ(pclose(pipe), 0);
    EXPECT_STREQ(told, "200 image/jpeg");
    EXPECT_TRUE(decodeJpeg(folder.read("picture.jpg")));
}
