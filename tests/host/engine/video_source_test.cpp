#include "engine/video_source.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <fstream>
#include <opencv2/imgproc.hpp>
#include <random>

#include "engine/av_pointers.h"
#include "engine/file_descriptor.h"
#include "engine/source_error.h"
#include "jumping_clock.h"
#include "scene_collector.h"
#include "support/temporary_folder.h"
#include "video_clip.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr std::int64_t ms = 1'000'000;
constexpr std::int64_t start = 1'000'000 * ms;

void drawBox(cv::Mat& picture, int x) {
    cv::rectangle(picture, cv::Rect(x, 50, 24, 40), {20, 20, 230}, cv::FILLED);
}

class VideoSourceTest : public testing::Test {
protected:
    void SetUp() override {
        cv::setNumThreads(1);
        av_log_set_level(AV_LOG_QUIET);
    }

    std::string write(const VideoClip& clip, const std::string& name = "clip.avi") {
        clip.write(folder.path(name));
        return folder.path(name);
    }

    SceneCollector play(const std::string& path, bool loop, std::int64_t duration) {
        JumpingClock clock(start, start + duration);
        SceneCollector scenes;
        VideoSource(InputFile::open(path), loop, clock).run(start, scenes);
        return scenes;
    }

    std::string refusal(const std::string& path) {
        JumpingClock clock(start, start);
        try {
            VideoSource(InputFile::open(path), false, clock);
        } catch (const SourceError& error) {
            return std::string(error.what()).substr(folder.path("").size());
        }
        return "accepted";
    }

    TemporaryFolder folder;
};

}  // namespace

TEST_F(VideoSourceTest, DescribesTheVideo) {
    JumpingClock clock(0, 0);
    const std::string path = write({.width = 320, .height = 180, .picturesPerSecond = 25});
    const SourceDescription description =
        VideoSource(InputFile::open(path), false, clock).describe();
    EXPECT_EQ(description.kind, "video");
    EXPECT_EQ(description.name, path);
    EXPECT_EQ(description.width, 320);
    EXPECT_EQ(description.height, 180);
    EXPECT_DOUBLE_EQ(description.framesPerSecond, 25);
}

TEST_F(VideoSourceTest, StampsScenesWithTheTimesAtWhichPicturesAreDue) {
    const SceneCollector scenes = play(write({.pictures = 5}), false, 450 * ms);
    EXPECT_THAT(scenes.times(start), ElementsAre(0, 100 * ms, 200 * ms, 300 * ms, 400 * ms));
}

TEST_F(VideoSourceTest, FollowsTheEndWithEmptyScenes) {
    const SceneCollector scenes = play(write({.pictures = 3}), false, 650 * ms);
    EXPECT_THAT(scenes.times(start),
                ElementsAre(0, 100 * ms, 200 * ms, 300 * ms, 400 * ms, 500 * ms, 600 * ms));
}

TEST_F(VideoSourceTest, FindsTracksAndDeletesThemAtTheEnd) {
    VideoClip clip = {.pictures = 60};
    clip.draw = [](cv::Mat& picture, int i) {
        if (i >= 35) {
            drawBox(picture, 10 + 5 * (i - 35));
        }
    };
    const SceneCollector scenes = play(write(clip), false, 6250 * ms);
    ASSERT_EQ(scenes.scenes.size(), 63u);
    EXPECT_EQ(scenes.scenes[59].objects.size(), 1u);
    EXPECT_THAT(scenes.scenes[60].objects, IsEmpty());
    ASSERT_EQ(scenes.scenes[60].events.size(), 1u);
    EXPECT_THAT(scenes.scenes[60].events[0].ids, ElementsAre(1));
    EXPECT_THAT(scenes.scenes[61].events, IsEmpty());
}

TEST_F(VideoSourceTest, LoopsWithDeletesHigherIdsAndTimesThatGoOn) {
    VideoClip clip = {.pictures = 60};
    clip.draw = [](cv::Mat& picture, int i) {
        if (i >= 35) {
            drawBox(picture, 10 + 5 * (i - 35));
        }
    };
    const SceneCollector scenes = play(write(clip), true, 11950 * ms);
    ASSERT_EQ(scenes.scenes.size(), 120u);
    for (std::size_t i = 0; i < scenes.scenes.size(); ++i) {
        EXPECT_EQ(sceneTime(scenes.scenes[i]), start + static_cast<std::int64_t>(i) * 100 * ms);
    }
    ASSERT_EQ(scenes.scenes[59].objects.size(), 1u);
    EXPECT_EQ(scenes.scenes[59].objects[0].id, 1);
    ASSERT_EQ(scenes.scenes[60].events.size(), 1u);
    EXPECT_THAT(scenes.scenes[60].events[0].ids, ElementsAre(1));
    ASSERT_EQ(scenes.scenes[119].objects.size(), 1u);
    EXPECT_GT(scenes.scenes[119].objects[0].id, 1);
}

TEST_F(VideoSourceTest, HandsOutThePicturesWithTheirScenes) {
    class Viewer : public SceneCollector {
    public:
        void onPicture(const Picture& picture) override {
            EXPECT_EQ(picture.frame->width, 640);
            pictureTimes.push_back(picture.time - start);
            EXPECT_EQ(pictureTimes.size(), scenes.size() + 1);
        }
        std::vector<std::int64_t> pictureTimes;
    };
    const std::string path = write({.width = 640, .height = 480, .pictures = 3});
    JumpingClock clock(start, start + 250 * ms);
    Viewer viewer;
    VideoSource(InputFile::open(path), false, clock).run(start, viewer);
    EXPECT_EQ(viewer.pictureTimes, viewer.times(start));
}

TEST_F(VideoSourceTest, PlaysOnFromWhereItWasHeldUp) {
    class Slow : public SceneCollector {
    public:
        explicit Slow(JumpingClock& time) : clock(time) {}
        void onScene(const SceneRecord& scene) override {
            SceneCollector::onScene(scene);
            if (scenes.size() == 2) {
                clock.pass(5000 * ms);  // the process was stopped
            }
        }
        JumpingClock& clock;
    };
    JumpingClock clock(start, start + 5500 * ms);
    Slow scenes(clock);
    VideoSource(InputFile::open(write({.pictures = 10})), false, clock).run(start, scenes);
    EXPECT_THAT(scenes.times(start),
                ElementsAre(0, 100 * ms, 5100 * ms, 5200 * ms, 5300 * ms, 5400 * ms));
}

TEST_F(VideoSourceTest, ReadsADescriptorAtAPositionOfItsOwn) {
    const FileDescriptor file(open(write({.pictures = 3}).c_str(), O_RDONLY));
    lseek(file.get(), 0, SEEK_END);
    for (int i = 0; i < 2; ++i) {
        JumpingClock clock(start, start + 250 * ms);
        SceneCollector scenes;
        VideoSource(InputFile::fromDescriptor(file.get(), "clip"), false, clock).run(start, scenes);
        EXPECT_EQ(scenes.scenes.size(), 3u);
    }
}

TEST_F(VideoSourceTest, ReadsOtherContainersAndCodecs) {
    for (const auto& [name, codec] :
         {std::pair("clip.mp4", "mpeg4"), std::pair("clip.mkv", "mjpeg"),
          std::pair("clip.ts", "mpeg2video")}) {
        VideoClip clip = {.picturesPerSecond = 25, .pictures = 10};
        clip.codec = codec;
        EXPECT_EQ(play(write(clip, name), false, 390 * ms).scenes.size(), 10u) << name;
    }
}

TEST_F(VideoSourceTest, RefusesWhatIsNoVideo) {
    EXPECT_THAT(refusal(folder.write("a.avi", "")), HasSubstr("a.avi: is no video: "));
    EXPECT_THAT(refusal(folder.write("a.txt", "Pictures are described here in words.\n")),
                HasSubstr("a.txt: is no video: "));
    std::string noise(100'000, '\0');
    std::mt19937 random(1);
    std::generate(noise.begin(), noise.end(), [&] { return static_cast<char>(random()); });
    EXPECT_THAT(refusal(folder.write("a.avi", noise)), HasSubstr("a.avi: is no video: "));
}

TEST_F(VideoSourceTest, RefusesAPlaylistThatNamesOtherFiles) {
    const std::string clip = write({.pictures = 3}, "clip.ts");
    EXPECT_THAT(refusal(folder.write("list.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n" +
                                                      clip + "\n#EXT-X-ENDLIST\n")),
                HasSubstr("list.m3u8: is no video: "));
    EXPECT_THAT(refusal(folder.write("list.ffconcat", "ffconcat version 1.0\nfile " + clip + "\n")),
                HasSubstr("list.ffconcat: is no video: "));
}

TEST_F(VideoSourceTest, RefusesAVideoWithoutAPicture) {
    const std::string whole = [&] {
        write({.pictures = 3});
        return folder.read("clip.avi");
    }();
    const std::size_t pictures = whole.find("movi");
    ASSERT_NE(pictures, std::string::npos);
    EXPECT_NE(refusal(folder.write("cut.avi", whole.substr(0, pictures + 4))), "accepted");
}

TEST_F(VideoSourceTest, PlaysAFileThatWasCutAsFarAsItGoes) {
    write({.pictures = 30});
    const std::string whole = folder.read("clip.avi");
    const std::string cut = folder.write("cut.avi", whole.substr(0, whole.size() / 2));
    const SceneCollector scenes = play(cut, true, 10'000 * ms);
    EXPECT_EQ(scenes.scenes.size(), 100u);  // again and again, without a gap
}

TEST_F(VideoSourceTest, LeavesOutWhatIsDamaged) {
    write({.pictures = 60});
    std::string content = folder.read("clip.avi");
    std::mt19937 random(1);
    for (std::size_t i = content.find("movi") + 4; i < content.size(); i += 97) {
        content[i] = static_cast<char>(random());
    }
    testing::internal::CaptureStderr();
    const SceneCollector scenes = play(folder.write("bad.avi", content), true, 20'000 * ms);
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_GT(scenes.scenes.size(), 100u);
    EXPECT_LE(std::count(told.begin(), told.end(), '\n'), 25);  // nothing for each picture
    std::int64_t last = start - 1;
    for (const SceneRecord& scene : scenes.scenes) {
        EXPECT_GT(sceneTime(scene), last);
        last = sceneTime(scene);
    }
}

TEST_F(VideoSourceTest, SendsEmptyScenesWhenAFileBecameUnreadable) {
    const std::string path = write({.pictures = 10});
    JumpingClock clock(start, start + 5000 * ms);
    VideoSource source(InputFile::open(path), true, clock);
    std::ofstream(path, std::ios::trunc) << "gone";
    testing::internal::CaptureStderr();
    SceneCollector scenes;
    source.run(start, scenes);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("clip.avi: is no video"));
    EXPECT_GE(scenes.scenes.size(), 45u);
    EXPECT_LE(scenes.scenes.size(), 52u);
}
