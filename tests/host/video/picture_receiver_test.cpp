#include "video/picture_receiver.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "picture_collector.h"
#include "picture_engine.h"
#include "support/picture_frames.h"
#include "support/picture_peer.h"
#include "support/temporary_folder.h"

using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::UnorderedElementsAre;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

namespace {

std::ptrdiff_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

class PictureReceiverTest : public testing::Test {
protected:
    void start() { receiver = std::make_unique<PictureReceiver>(path, 2, sink); }
    void SetUp() override { start(); }

    PicturePeer connect() { return PicturePeer::connectTo(path); }

    /// What is written about an engine that sends these, once it is left.
    std::string complaintAbout(const PictureLink::Hello& hello, const FileDescriptor& memory) {
        CaptureStderr();
        PicturePeer peer = connect();
        peer.send(hello, memory.get());
        EXPECT_TRUE(peer.isClosed());
        return withoutTimes(GetCapturedStderr());
    }

    static std::string withoutTimes(const std::string& lines) {
        std::string rest;
        for (std::size_t begin = 0; begin < lines.size();) {
            const std::size_t end = lines.find('\n', begin) + 1;
            rest += lines.substr(lines.find(' ', begin) + 1, end - lines.find(' ', begin) - 1);
            begin = end;
        }
        return rest;
    }

    TemporaryFolder folder;
    const std::string path = folder.path("pictures.sock");
    PictureCollector sink;
    std::unique_ptr<PictureReceiver> receiver;
};

}  // namespace

TEST_F(PictureReceiverTest, HandsOnAPictureAndGivesTheSlotBack) {
    PictureEngine engine(path, 2);
    engine.fill(3, 77);
    ASSERT_TRUE(engine.show(3, 5'000'000'000));
    EXPECT_TRUE(engine.waitForRelease(3));
    const auto pictures = sink.take(1);
    ASSERT_EQ(pictures.size(), 1u);
    EXPECT_EQ(pictures[0].camera, 2);
    EXPECT_EQ(pictures[0].time, 5'000'000'000);
    const AVFrame& frame = *pictures[0].frame;
    EXPECT_EQ(frame.width, 64);
    EXPECT_EQ(frame.height, 48);
    EXPECT_EQ(frame.format, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(frame.color_range, AVCOL_RANGE_MPEG);
    EXPECT_EQ(frame.colorspace, AVCOL_SPC_SMPTE170M);
    EXPECT_EQ(frame.sample_aspect_ratio.num, 1);
    EXPECT_EQ(frame.sample_aspect_ratio.den, 1);
    EXPECT_TRUE(PictureFrames::isUniform(frame, {77, 77, 77}));
}

TEST_F(PictureReceiverTest, KeepsAPictureApartFromWhatTheEngineWritesLater) {
    PictureEngine engine(path, 1);
    engine.fill(0, 50);
    engine.show(0, 1);
    ASSERT_TRUE(engine.waitForRelease(0));
    engine.fill(0, 60);
    engine.show(0, 2);
    ASSERT_TRUE(engine.waitForRelease(0));
    engine.fill(0, 70);
    const auto pictures = sink.take(2);
    ASSERT_EQ(pictures.size(), 2u);
    EXPECT_TRUE(PictureFrames::isUniform(*pictures[0].frame, {50, 50, 50}));
    EXPECT_TRUE(PictureFrames::isUniform(*pictures[1].frame, {60, 60, 60}));
}

TEST_F(PictureReceiverTest, LeavesFramesToTheirHoldersWhenItEnds) {
    PictureEngine engine(path, 1);
    engine.fill(0, 50);
    engine.show(0, 1);
    const auto pictures = sink.take(1);
    receiver.reset();
    ASSERT_EQ(pictures.size(), 1u);
    EXPECT_TRUE(PictureFrames::isUniform(*pictures[0].frame, {50, 50, 50}));
}

TEST_F(PictureReceiverTest, TellsOfAnEngineThatComesAndGoes) {
    CaptureStderr();
    {
        PictureEngine engine(path, 2);
        engine.show(0, 1);
        sink.take(1);
    }
    PictureEngine next(path, 2);  // in order behind the end of the other
    next.show(0, 2);
    sink.take(1);
    receiver.reset();
    EXPECT_EQ(withoutTimes(GetCapturedStderr()),
              "video: camera 2: pictures of 64x48\nvideo: camera 2: the engine has gone\n"
              "video: camera 2: pictures of 64x48\n");
}

TEST_F(PictureReceiverTest, RefusesAHelloThatIsNone) {
    const FileDescriptor memory = makeMemory(4 * 4608, F_SEAL_SHRINK);
    const std::string complaint =
        "video: an engine is left: it sent no hello for a camera of this device\n";
    PictureLink::Hello hello = helloOf(3);
    EXPECT_EQ(complaintAbout(hello, memory), complaint);
    hello = helloOf(0);
    EXPECT_EQ(complaintAbout(hello, memory), "") << "the same line twice";
    hello = helloOf(1);
    hello.version = 2;
    EXPECT_EQ(complaintAbout(hello, memory), "");
    PicturePeer peer = connect();
    peer.sendBytes("hello", 5);
    EXPECT_TRUE(peer.isClosed());
    EXPECT_TRUE(sink.take(0).empty());
}

TEST_F(PictureReceiverTest, RefusesMemoryThatIsNotSafeToRead) {
    const std::string refusal = "video: an engine is left: ";
    const PictureLink::Hello hello = helloOf(1);
    const std::size_t size = hello.memorySize();
    EXPECT_EQ(complaintAbout(hello, {}), refusal + "it handed over no memory\n");
    const std::string file = folder.write("file", std::string(size, 'x'));
    EXPECT_EQ(complaintAbout(hello, FileDescriptor(open(file.c_str(), O_RDWR | O_CLOEXEC))),
              refusal + "what it handed over is no memory file\n");
    EXPECT_EQ(complaintAbout(hello, makeMemory(size, F_SEAL_GROW)),
              refusal + "its memory is not sealed against shrinking\n");
    EXPECT_EQ(complaintAbout(hello, makeMemory(size - 1, F_SEAL_SHRINK)),
              refusal + "its memory is smaller than told\n");
    EXPECT_EQ(complaintAbout(hello, FileDescriptor(socket(AF_UNIX, SOCK_STREAM, 0))),
              refusal + "what it handed over is no memory file\n");
    EXPECT_EQ(complaintAbout(hello, FileDescriptor(open("/dev/zero", O_RDWR | O_CLOEXEC))), "");
}

// Its pages may be missing when they are read.
TEST_F(PictureReceiverTest, RefusesMemoryOfHugePages) {
    const FileDescriptor memory(
        memfd_create("huge", MFD_CLOEXEC | MFD_ALLOW_SEALING | MFD_HUGETLB));
    if (!memory || ftruncate(memory.get(), 2 << 20) != 0 ||
        fcntl(memory.get(), F_ADD_SEALS, F_SEAL_SHRINK) != 0) {
        GTEST_SKIP() << "this kernel has none";
    }
    EXPECT_THAT(complaintAbout(helloOf(1), memory), HasSubstr("its memory is of an unknown kind"));
}

TEST_F(PictureReceiverTest, LeavesAnEngineThatSendsWhatIsNoPicture) {
    using PictureLink::Picture;
    const std::vector<Picture> bad = {{4, 64, 48, 0, 0},     {0, 65, 48, 0, 0}, {0, 64, 49, 0, 0},
                                      {0, 0, 0, 0, 0},       {0, -1, -1, 0, 0}, {0, 64, 48, 7, 0},
                                      {0, 4096, 4096, 0, 0}, {0, 64, 48, 0, -1}};
    for (const Picture& picture : bad) {
        PictureEngine engine(path, 1);
        engine.peer.send(picture);
        EXPECT_TRUE(engine.peer.isClosed()) << picture.slot << " " << picture.width;
    }
    CaptureStderr();
    PictureEngine engine(path, 1);
    engine.peer.sendBytes(&bad[0], 23);
    EXPECT_TRUE(engine.peer.isClosed());
    EXPECT_EQ(withoutTimes(GetCapturedStderr()),
              "video: camera 1: pictures of 64x48\n"
              "video: camera 1: an engine is left: it sent a packet that is no picture\n");
    EXPECT_TRUE(sink.take(0).empty());
}

TEST_F(PictureReceiverTest, LeavesAnEngineThatSendsMoreThanAPacketHolds) {
    const std::vector<char> large(1000);
    PictureEngine tooLong(path, 1);
    tooLong.peer.sendBytes(large.data(), large.size());
    EXPECT_TRUE(tooLong.peer.isClosed());
    const PictureLink::Picture picture = {0, 64, 48, 0, 0};
    PictureEngine handing(path, 1);
    handing.peer.sendBytes(&picture, sizeof picture, handing.memory.get());
    EXPECT_TRUE(handing.peer.isClosed());
    EXPECT_TRUE(sink.take(0).empty());
}

TEST_F(PictureReceiverTest, KeepsNoDescriptors) {
    PictureEngine good(path, 2);
    good.show(0, 1);
    sink.take(1);
    const std::ptrdiff_t before = openDescriptors();
    for (int i = 0; i < 5; ++i) {
        const PictureLink::Hello hello = helloOf(1);
        const FileDescriptor memory = makeMemory(hello.memorySize(), F_SEAL_SHRINK);
        PicturePeer peer = connect();
        peer.sendBytes(&hello, sizeof hello, memory.get(), 8);
        EXPECT_TRUE(peer.isClosed());
    }
    good.show(0, 2);  // all of the others are gone by then
    sink.take(1);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(PictureReceiverTest, ServesOthersWhileOneBreaksTheRules) {
    PictureEngine good(path, 2);
    PictureEngine bad(path, 1);
    bad.peer.sendBytes("?", 1);
    EXPECT_TRUE(bad.peer.isClosed());
    good.show(1, 9);
    EXPECT_TRUE(good.waitForRelease(1));
    EXPECT_EQ(sink.take(1).at(0).time, 9);
}

TEST_F(PictureReceiverTest, PutsANewConnectionInThePlaceOfTheOldOne) {
    PictureEngine old(path, 1);
    PictureEngine other(path, 2);
    old.show(0, 1);
    sink.take(1);
    PictureEngine fresh(path, 1);
    EXPECT_TRUE(old.peer.isClosed());
    fresh.show(0, 2);
    other.show(0, 3);
    EXPECT_THAT(sink.take(2), UnorderedElementsAre(Field(&PictureCollector::Entry::time, 2),
                                                   Field(&PictureCollector::Entry::time, 3)));
}

TEST_F(PictureReceiverTest, LeavesAnEngineThatTakesNoSlotBack) {
    PictureEngine engine(path, 1);
    CaptureStderr();
    while (engine.show(0, 1)) {
    }
    EXPECT_TRUE(engine.peer.isClosed());
    EXPECT_THAT(GetCapturedStderr(),
                HasSubstr("it takes no slot back: Resource temporarily unavailable"));
}

TEST_F(PictureReceiverTest, LeavesTheOldestOfTooManyThatSayNoHello) {
    std::vector<PicturePeer> silent;
    for (int i = 0; i < 17; ++i) {
        silent.push_back(connect());
        ASSERT_TRUE(silent.back());
    }
    EXPECT_TRUE(silent[0].isClosed());
    PictureEngine engine(path, 1);
    engine.show(0, 1);
    EXPECT_EQ(sink.take(1).size(), 1u);
    EXPECT_TRUE(silent[16].isSilent());
}

TEST_F(PictureReceiverTest, TakesPicturesOfChangingSizes) {
    PictureEngine engine(path, 1);
    engine.fill(0, 9);
    const std::vector<std::pair<int, int>> sizes = {
        {64, 48}, {1, 1}, {63, 47}, {1, 2000}, {64, 48}};
    for (const auto& [width, height] : sizes) {
        ASSERT_TRUE(engine.peer.send(PictureLink::Picture{0, width, height, 0, 1}));
        const auto pictures = sink.take(1);
        ASSERT_EQ(pictures.size(), 1u);
        EXPECT_EQ(pictures[0].frame->width, width);
        EXPECT_EQ(pictures[0].frame->height, height);
        EXPECT_TRUE(PictureFrames::isUniform(*pictures[0].frame, {9, 9, 9}));
    }
}

TEST_F(PictureReceiverTest, UsesTheMemoryOfFramesAgainThatNobodyHolds) {
    struct Places : PictureSink {
        void onPicture(int, const AVFrame& picture, std::int64_t) override {
            places.push_back(picture.data[0]);
        }
        std::vector<const std::uint8_t*> places;
    } noted;
    receiver.reset();
    receiver = std::make_unique<PictureReceiver>(path, 1, noted);
    PictureEngine engine(path, 1);
    for (int i = 0; i < 3; ++i) {
        engine.show(0, i);
        ASSERT_TRUE(engine.waitForRelease(0));
    }
    engine.peer.close();
    receiver.reset();
    ASSERT_EQ(noted.places.size(), 3u);
    for (const std::uint8_t* place : noted.places) {
        EXPECT_EQ(place, noted.places[0]);
    }
}

TEST_F(PictureReceiverTest, ClosesAndRemovesTheSocketWhenItEnds) {
    PictureEngine engine(path, 1);
    PicturePeer silent = connect();
    engine.show(0, 1);
    sink.take(1);
    receiver.reset();
    EXPECT_TRUE(engine.peer.isClosed());
    EXPECT_TRUE(silent.isClosed());
    EXPECT_THAT(folder.names(), ElementsAre());
}

TEST_F(PictureReceiverTest, TakesThePlaceOfWhatIsLeftOfAnother) {
    receiver.reset();
    folder.write("pictures.sock", "");
    start();
    PictureEngine engine(path, 1);
    engine.show(0, 1);
    EXPECT_EQ(sink.take(1).size(), 1u);
}

TEST_F(PictureReceiverTest, LeavesTheSocketOfItsSuccessorAlone) {
    PictureReceiver successor(path, 1, sink);
    receiver.reset();
    EXPECT_TRUE(connect());
}

TEST_F(PictureReceiverTest, RefusesAPlaceWhereNoSocketCanBe) {
    try {
        PictureReceiver(folder.path("none/pictures.sock"), 1, sink);
        FAIL() << "accepted";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), folder.path("none/pictures.sock") + ": No such file or directory");
    }
    EXPECT_THROW(PictureReceiver("/" + std::string(200, 'x'), 1, sink), std::runtime_error);
}
