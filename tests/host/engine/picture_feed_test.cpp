#include "engine/picture_feed.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <memory>

#include "engine/listening_socket.h"
#include "engine/source_error.h"
#include "support/allocation_counter.h"
#include "support/picture_frames.h"
#include "support/picture_peer.h"
#include "support/temporary_folder.h"

using PictureFrames::uniform;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

namespace {

constexpr std::int64_t ms = 1'000'000;

std::ptrdiff_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

/// A video service in the test's hands.
class PictureFeedTest : public testing::Test {
protected:
    void SetUp() override { av_log_set_level(AV_LOG_QUIET); }

    void startService() { service = std::make_unique<ListeningSocket>(path, SOCK_SEQPACKET); }

    /// The engine's next connection and its hello.
    PicturePeer accept() {
        PicturePeer peer(service->accept());
        if (peer) {
            EXPECT_TRUE(peer.take(hello, &memory));
            EXPECT_TRUE(memory);
        }
        return peer;
    }

    void show(std::int64_t time) { feed.onPicture({picture.get(), time}); }

    std::string refusal(const std::string& reason) const {
        return "plinth: camera 3: pictures cannot be delivered to " + path + ": " + reason + "\n";
    }

    /// What lies in a slot.
    std::vector<std::uint8_t> contentOf(const PictureLink::Picture& packet) const {
        std::vector<std::uint8_t> bytes(PictureLink::pictureBytes(packet.width, packet.height));
        EXPECT_EQ(
            pread(memory.get(), bytes.data(), bytes.size(), off_t{packet.slot} * hello.slotSize),
            static_cast<ssize_t>(bytes.size()));
        return bytes;
    }

    TemporaryFolder folder;
    const std::string path = folder.path("pictures.sock");
    std::unique_ptr<ListeningSocket> service;
    AvFrame picture = uniform(64, 48, {100, 90, 180});
    PictureFeed feed{path, 3, PictureShape{64, 48}};
    PictureLink::Hello hello;
    FileDescriptor memory;
};

}  // namespace

TEST_F(PictureFeedTest, SaysHelloAndShowsAPicture) {
    startService();
    show(5 * ms);
    PicturePeer peer = accept();
    ASSERT_TRUE(peer);
    EXPECT_EQ(hello.magic, PictureLink::magic);
    EXPECT_EQ(hello.version, 1u);
    EXPECT_EQ(hello.camera, 3);
    EXPECT_EQ(hello.width, 64);
    EXPECT_EQ(hello.height, 48);
    EXPECT_EQ(hello.slots, 4u);
    EXPECT_EQ(hello.slotSize, 4608u);
    PictureLink::Picture packet;
    ASSERT_TRUE(peer.take(packet));
    EXPECT_EQ(packet.slot, 0u);
    EXPECT_EQ(packet.width, 64);
    EXPECT_EQ(packet.height, 48);
    EXPECT_EQ(packet.time, 5 * ms);
    std::vector<std::uint8_t> expected(3072, 100);
    expected.insert(expected.end(), 768, 90);
    expected.insert(expected.end(), 768, 180);
    EXPECT_EQ(contentOf(packet), expected);
}

TEST_F(PictureFeedTest, HandsOverMemoryThatOthersCanNeitherShrinkNorWrite) {
    startService();
    show(0);
    ASSERT_TRUE(accept());
    EXPECT_EQ(fcntl(memory.get(), F_GET_SEALS) & F_SEAL_SHRINK, F_SEAL_SHRINK);
    EXPECT_NE(ftruncate(memory.get(), 0), 0);
    EXPECT_NE(fcntl(memory.get(), F_ADD_SEALS, F_SEAL_WRITE), 0);
    EXPECT_EQ(mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, memory.get(), 0), MAP_FAILED);
    EXPECT_EQ(pwrite(memory.get(), "x", 1, 0), -1);
}

TEST_F(PictureFeedTest, LeavesPicturesOutWhileNoSlotIsFree) {
    startService();
    for (int i = 0; i < 7; ++i) {
        show(i * ms);
    }
    PicturePeer peer = accept();
    PictureLink::Picture packet;
    for (std::uint32_t slot = 0; slot < 4; ++slot) {
        ASSERT_TRUE(peer.take(packet));
        EXPECT_EQ(packet.slot, slot);
        EXPECT_EQ(packet.time, slot * ms);
    }
    EXPECT_TRUE(peer.isSilent());
    ASSERT_TRUE(peer.send(PictureLink::Release{2}));
    show(7 * ms);
    ASSERT_TRUE(peer.take(packet));
    EXPECT_EQ(packet.slot, 2u);
    EXPECT_EQ(packet.time, 7 * ms);
    show(8 * ms);
    EXPECT_TRUE(peer.isSilent());
}

TEST_F(PictureFeedTest, LeavesPicturesAloneThatTheServiceHas) {
    startService();
    for (std::uint8_t luma = 0; luma < 4; ++luma) {
        picture = uniform(64, 48, {luma, 128, 128});
        show(luma);
    }
    PicturePeer peer = accept();
    for (std::uint8_t luma = 0; luma < 4; ++luma) {
        PictureLink::Picture packet;
        ASSERT_TRUE(peer.take(packet));
        const std::vector<std::uint8_t> content = contentOf(packet);
        EXPECT_EQ(std::count(content.begin(), content.end(), luma), 64 * 48);
        EXPECT_EQ(std::count(content.begin(), content.end(), 128), 2 * 32 * 24);
    }
}

TEST_F(PictureFeedTest, UsesOneSlotWhileTheServiceKeepsUp) {
    startService();
    show(0);
    PicturePeer peer = accept();
    for (int i = 1; i < 10; ++i) {
        PictureLink::Picture packet;
        ASSERT_TRUE(peer.take(packet));
        EXPECT_EQ(packet.slot, 0u);
        ASSERT_TRUE(peer.send(PictureLink::Release{0}));
        show(i * ms);
    }
}

TEST_F(PictureFeedTest, TriesAgainEveryHalfSecondAndTellsOnceThatNobodyIsThere) {
    CaptureStderr();
    show(1000 * ms);
    startService();
    show(1499 * ms);
    EXPECT_FALSE(service->accept());
    service.reset();
    show(1500 * ms);
    startService();
    show(1999 * ms);
    EXPECT_FALSE(service->accept());
    show(2000 * ms);
    EXPECT_EQ(GetCapturedStderr(), refusal("No such file or directory"));
    PicturePeer peer = accept();
    PictureLink::Picture packet;
    ASSERT_TRUE(peer.take(packet));
    EXPECT_EQ(packet.time, 2000 * ms);
}

TEST_F(PictureFeedTest, TellsALossOnceMoreAfterThePicturesWereTaken) {
    startService();
    CaptureStderr();
    std::int64_t time = 0;
    for (int i = 0; i < 3; ++i) {  // lets it in and closes
        show(time += 500 * ms);
        accept().close();
        show(time += 1);
    }
    EXPECT_EQ(GetCapturedStderr(), refusal("Connection reset by peer"));
    CaptureStderr();
    show(time += 500 * ms);
    PicturePeer peer = accept();
    peer.send(PictureLink::Release{0});
    show(time += 1);
    EXPECT_EQ(GetCapturedStderr(), "");
    CaptureStderr();
    peer.close();
    show(time += 1);
    show(time += 1);
    EXPECT_EQ(GetCapturedStderr(), refusal("Connection reset by peer"));
}

TEST_F(PictureFeedTest, ConnectsAtOnceWhenALongConnectionIsLost) {
    startService();
    show(0);
    accept().close();
    show(600 * ms);  // sees it
    show(601 * ms);
    EXPECT_TRUE(accept());
}

TEST_F(PictureFeedTest, LeavesAServiceThatBreaksTheRules) {
    startService();
    const auto packet = [](std::uint32_t slot, std::size_t size = 4) {
        std::string bytes(8, '\0');
        std::memcpy(bytes.data(), &slot, sizeof slot);
        return bytes.substr(0, size);
    };
    std::int64_t time = 0;
    for (const std::string& bad : {packet(1), packet(4), packet(UINT32_MAX), packet(0, 3),
                                   packet(0, 5), packet(0, 8), packet(0, 0)}) {
        show(time += 500 * ms);
        PicturePeer peer = accept();
        ASSERT_TRUE(peer) << bad.size();
        peer.sendBytes(bad.data(), bad.size());
        show(time += 1);
        EXPECT_TRUE(peer.isClosed()) << bad.size();
    }
    show(time += 500 * ms);
    PicturePeer peer = accept();
    CaptureStderr();
    peer.send(PictureLink::Release{0});
    peer.send(PictureLink::Release{0});
    show(time += 1);
    EXPECT_EQ(GetCapturedStderr(), refusal("Protocol error"));
    EXPECT_TRUE(peer.isClosed());
}

TEST_F(PictureFeedTest, TakesNoDescriptors) {
    startService();
    show(0);
    PicturePeer peer = accept();
    const std::ptrdiff_t before = openDescriptors();
    peer.send(PictureLink::Release{0}, memory.get());
    show(1);
    EXPECT_EQ(openDescriptors(), before);
}

// It gives slots back that it has not looked at, so that the socket fills.
TEST_F(PictureFeedTest, DoesNotWaitForAServiceThatReadsNothing) {
    startService();
    show(0);
    PicturePeer peer = accept();
    CaptureStderr();
    int shown = 1;
    while (shown < 100'000 && peer.send(PictureLink::Release{0})) {
        show(shown++);
    }
    // The first picture that the socket did not take had no slot to give back.
    EXPECT_EQ(GetCapturedStderr(), refusal("Protocol error"));
    EXPECT_LT(shown, 100'000);
    int taken = 0;
    for (PictureLink::Picture packet; peer.take(packet);) {
        EXPECT_EQ(packet.time, taken);
        ++taken;
    }
    EXPECT_GT(taken, 4);
    EXPECT_LT(taken, shown);
}

TEST_F(PictureFeedTest, BringsPicturesToTheSizeThatIsDescribed) {
    startService();
    PictureFeed described(path, 1, PictureShape{85, 48});
    picture->sample_aspect_ratio = {2, 1};
    described.onPicture({picture.get(), 0});
    PicturePeer peer = accept();
    EXPECT_EQ(hello.width, 85);
    PictureLink::Picture packet;
    ASSERT_TRUE(peer.take(packet));
    EXPECT_EQ(packet.width, 85);
    EXPECT_EQ(packet.height, 48);
    const std::vector<std::uint8_t> content = contentOf(packet);
    EXPECT_EQ(content.size(), 85u * 48 + 2 * 43 * 24);
    EXPECT_EQ(std::count(content.begin(), content.end(), 100), 85 * 48);
    EXPECT_EQ(std::count(content.begin(), content.end(), 180), 43 * 24);
}

TEST_F(PictureFeedTest, MakesPixelsSquareWhereNoSizeIsDescribed) {
    startService();
    PictureFeed live(path, 1, {});
    picture->sample_aspect_ratio = {4, 3};
    live.onPicture({picture.get(), 0});
    ASSERT_TRUE(accept());
    EXPECT_EQ(hello.width, 85);
    EXPECT_EQ(hello.height, 48);
}

TEST_F(PictureFeedTest, KeepsHugePicturesWithinTheLink) {
    startService();
    PictureFeed live(path, 1, {});
    picture->sample_aspect_ratio = {128, 1};  // 8192x48
    live.onPicture({picture.get(), 0});
    ASSERT_TRUE(accept());
    EXPECT_EQ(hello.width, 4096);
    EXPECT_EQ(hello.height, 24);
}

TEST_F(PictureFeedTest, ConnectsAnewForLargerPictures) {
    startService();
    PictureFeed live(path, 1, {});
    live.onPicture({picture.get(), 0});
    PicturePeer first = accept();
    picture = uniform(32, 24, {16});
    live.onPicture({picture.get(), 1});
    PictureLink::Picture packet;
    ASSERT_TRUE(first.take(packet));
    ASSERT_TRUE(first.take(packet));
    EXPECT_EQ(packet.width, 32);
    picture = uniform(66, 48, {16});
    live.onPicture({picture.get(), 2});
    EXPECT_TRUE(first.isClosed());
    PicturePeer second = accept();
    ASSERT_TRUE(second);
    EXPECT_EQ(hello.width, 66);
    ASSERT_TRUE(second.take(packet));
    EXPECT_EQ(packet.time, 2);
}

TEST_F(PictureFeedTest, LeavesOutAPictureThatCannotBeConverted) {
    startService();
    picture->format = AV_PIX_FMT_VAAPI;
    CaptureStderr();
    show(0);
    show(1);
    EXPECT_EQ(GetCapturedStderr(), refusal("its form is unknown"));
    PicturePeer peer = accept();
    EXPECT_TRUE(peer.isSilent());
    picture->format = AV_PIX_FMT_YUV420P;
    show(2);
    PictureLink::Picture packet;
    EXPECT_TRUE(peer.take(packet));
}

TEST_F(PictureFeedTest, AsksForNoMemoryAfterTheFirstPicture) {
    startService();
    show(0);
    PicturePeer peer = accept();
    PictureLink::Picture packet;
    const std::size_t before = allocationCount;
    for (int i = 1; i < 100; ++i) {
        peer.take(packet);
        peer.send(PictureLink::Release{packet.slot});
        show(i);
    }
    EXPECT_EQ(allocationCount - before, 0u);
    EXPECT_EQ(packet.time, 98);
}

TEST_F(PictureFeedTest, RefusesAPathThatIsTooLong) {
    EXPECT_THROW(PictureFeed("/" + std::string(200, 'x'), 1, {}), SourceError);
}
