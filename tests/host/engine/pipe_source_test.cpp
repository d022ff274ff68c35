#include "engine/pipe_source.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "engine/input_file.h"
#include "engine/monotonic_clock.h"
#include "engine/source_error.h"
#include "engine/stop_signal.h"
#include "engine/video_file.h"
#include "scene_collector.h"
#include "support/temporary_folder.h"
#include "video_clip.h"

using namespace std::chrono_literals;
using testing::HasSubstr;

namespace {

/// Counts pictures and scenes as they come, for another thread to wait for.
class Waiter : public SourceListener {
public:
    void onScene(const SceneRecord& scene) override {
        const std::lock_guard lock(mutex);
        scenes.push_back(scene);
        changed.notify_all();
    }
    void onPicture(const Picture& picture) override {
        const std::lock_guard lock(mutex);
        widths.push_back(picture.frame->width);
    }
    /// Whether it comes to so many pictures, and `more` scenes without one beyond them.
    bool waitFor(std::size_t pictures, std::size_t more = 0) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, 20s, [&] {
            return widths.size() >= pictures && scenes.size() >= widths.size() + more;
        });
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<SceneRecord> scenes;
    std::vector<int> widths;
};

class PipeSourceTest : public testing::Test {
protected:
    PipeSourceTest() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe(ends), 0);
        readEnd = FileDescriptor(ends[0]);
        writeEnd = FileDescriptor(ends[1]);
        fcntl(writeEnd.get(), F_SETPIPE_SZ, 1 << 20);
    }

    void SetUp() override {
        cv::setNumThreads(1);
        av_log_set_level(AV_LOG_QUIET);
        testing::internal::CaptureStderr();
    }
    void TearDown() override {
        finish();
        told = testing::internal::GetCapturedStderr();
    }

    void start() {
        source = std::make_unique<PipeSource>(readEnd.get(), "camera", clock);
        thread = std::thread([this] { source->run(clock.now(), waiter); });
    }

    void finish() {
        stop.stop();
        if (thread.joinable()) {
            thread.join();
        }
    }

    void send(const std::string& bytes) {
        ASSERT_EQ(write(writeEnd.get(), bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }

    /// The records of a clip of `pictures` key pictures.
    std::string recordsOf(int pictures, int width, std::uint32_t session) {
        VideoClip clip = {.width = width, .picturesPerSecond = 50, .pictures = pictures};
        clip.codec = "mjpeg";
        clip.write(folder.path("clip.avi"));
        AVFormatContext* opening = nullptr;
        EXPECT_EQ(avformat_open_input(&opening, folder.path("clip.avi").c_str(), nullptr, nullptr),
                  0);
        const AvFormat format(opening);
        EXPECT_GE(avformat_find_stream_info(format.get(), nullptr), 0);
        const AVCodecParameters& parameters = *format->streams[0]->codecpar;
        PacketStream::Head head;
        head.session = session;
        head.codec = static_cast<std::uint32_t>(parameters.codec_id);
        head.width = parameters.width;
        head.height = parameters.height;
        head.rate = 50;
        head.rateSeconds = 1;
        std::string records = PacketStream::format(head, "");
        const AvPacket packet(av_packet_alloc());
        for (int i = 0; av_read_frame(format.get(), packet.get()) == 0; ++i) {
            PacketStream::Head next;
            next.kind = PacketStream::Kind::Packet;
            next.session = session;
            next.isKey = 1;
            next.time = std::int64_t{20'000'000} * i;
            records += PacketStream::format(next, {reinterpret_cast<char*>(packet->data),
                                                   static_cast<std::size_t>(packet->size)});
            av_packet_unref(packet.get());
        }
        return records;
    }

    void expectIncreasingTimes() {
        finish();
        std::int64_t last = 0;
        for (const SceneRecord& scene : waiter.scenes) {
            EXPECT_GT(sceneTime(scene), last);
            last = sceneTime(scene);
        }
    }

    TemporaryFolder folder;
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
    StopSignal stop;
    MonotonicClock clock{stop};
    Waiter waiter;
    std::unique_ptr<PipeSource> source;
    std::string told;
    std::thread thread;
};

}  // namespace

TEST_F(PipeSourceTest, ShowsPicturesAsTheyCome) {
    start();
    send(recordsOf(12, 192, 1));
    EXPECT_TRUE(waiter.waitFor(10));
    expectIncreasingTimes();
}

TEST_F(PipeSourceTest, SendsEmptyScenesBeforeTheFirstPicture) {
    start();
    EXPECT_TRUE(waiter.waitFor(0, 3));
}

TEST_F(PipeSourceTest, SendsEmptyScenesWhileNothingComesAndGoesOn) {
    start();
    send(recordsOf(12, 192, 1));
    EXPECT_TRUE(waiter.waitFor(10, 3));
    const std::size_t before = waiter.widths.size();
    send(recordsOf(12, 192, 1));
    EXPECT_TRUE(waiter.waitFor(before + 5));
    expectIncreasingTimes();
}

TEST_F(PipeSourceTest, TakesUpAStreamOfAnotherSize) {
    start();
    send(recordsOf(12, 192, 1));
    EXPECT_TRUE(waiter.waitFor(10));
    send(recordsOf(12, 320, 2));
    EXPECT_TRUE(waiter.waitFor(20));
    finish();
    EXPECT_EQ(waiter.widths.front(), 192);
    EXPECT_EQ(waiter.widths.back(), 320);
    expectIncreasingTimes();
}

TEST_F(PipeSourceTest, FindsItsPlaceInTheMiddleOfAStream) {
    start();
    const std::string records = recordsOf(12, 192, 1);
    send(records.substr(records.size() / 2) + records);
    EXPECT_TRUE(waiter.waitFor(10));
}

TEST_F(PipeSourceTest, SurvivesNonsense) {
    start();
    PacketStream::Head head;
    head.codec = 0x7fffffff;
    head.width = -5;
    send(PacketStream::format(head, "nonsense"));
    head.codec = AV_CODEC_ID_H264;
    send(PacketStream::format(head, std::string(1000, '\xff')));
    head.kind = PacketStream::Kind::Packet;
    head.isKey = 1;
    send(PacketStream::format(head, std::string(1000, '\xff')) + std::string(1000, 'x'));
    send(recordsOf(12, 192, 1));
    EXPECT_TRUE(waiter.waitFor(10));
}

TEST_F(PipeSourceTest, SendsEmptyScenesAfterItsWriterIsGone) {
    start();
    send(recordsOf(12, 192, 1));
    EXPECT_TRUE(waiter.waitFor(10));
    writeEnd.reset();
    EXPECT_TRUE(waiter.waitFor(10, 3));
    expectIncreasingTimes();
}

TEST_F(PipeSourceTest, StopsAtOnce) {
    start();
    const auto begin = std::chrono::steady_clock::now();
    finish();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 500ms);
}

TEST_F(PipeSourceTest, DescribesTheStream) {
    PipeSource pipe(readEnd.get(), "camera", clock);
    EXPECT_TRUE(pipe.isLive());
    EXPECT_EQ(pipe.describe().width, 1280);
    send(recordsOf(3, 320, 1));
    pipe.awaitStream(clock.now() + 20'000'000'000);
    const SourceDescription description = pipe.describe();
    EXPECT_EQ(description.kind, "pipe");
    EXPECT_EQ(description.name, "camera");
    EXPECT_EQ(description.width, 320);
    EXPECT_EQ(description.height, 144);
    EXPECT_DOUBLE_EQ(description.framesPerSecond, 50);
}

TEST_F(PipeSourceTest, DescribesAPipeThatNobodyWrites) {
    PipeSource pipe(readEnd.get(), "camera", clock);
    pipe.awaitStream(clock.now() + 10'000'000);
    EXPECT_EQ(pipe.describe().height, 720);
    writeEnd.reset();
    pipe.awaitStream(clock.now() + 60'000'000'000);
    EXPECT_EQ(pipe.describe().width, 1280);
}

TEST_F(PipeSourceTest, RefusesWhatIsNoPipe) {
    EXPECT_THROW(PipeSource(-1, "camera", clock), SourceError);
    const FileDescriptor file(open("/dev/null", O_RDONLY));
    EXPECT_THROW(PipeSource(file.get(), "camera", clock), SourceError);
}
