#include "engine/recording_writer.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include "engine/file_descriptor.h"
#include "engine/input_file.h"
#include "engine/recording_reader.h"
#include "engine/source_error.h"
#include "support/temporary_folder.h"

namespace {

SceneRecord fullScene(std::int64_t time) {
    SceneRecord scene;
    setSceneTime(scene, time);
    scene.objects = {{.id = 7,
                      .polygon = std::vector<ScenePoint>{{-100, -200}, {-100, 200}, {100, 200}},
                      .boundingBox = boxCorners({-100, -200}, {100, 200}),
                      .velocity = SceneVelocity{35, -1},
                      .confidence = 4096},
                     {.id = 8}};
    scene.events = {{SCENE_ACTION_DELETE, {3}, {}},
                    {SCENE_ACTION_SPLIT, {4}, {5, 6}},
                    {SCENE_ACTION_MERGE, {1}, {2}}};
    return scene;
}

const std::string fullLine =
    R"({"time":0.04,"objects":[{"id":7,"polygon":[[-100,-200],[-100,200],[100,200]],)"
    R"("boundingBox":[[-100,-200],[100,200]],"velocity":[35,-1],"confidence":4096},{"id":8}],)"
    R"("events":[{"action":"delete","ids":[3]},{"action":"split","ids":[4],"relatedIds":[5,6]},)"
    R"({"action":"merge","ids":[1],"relatedIds":[2]}]})"
    "\n";

}  // namespace

TEST(RecordingWriter, WritesEveryMemberThatIsThere) {
    EXPECT_EQ(RecordingWriter::format(fullScene(0), 40'000'000), fullLine);
}

TEST(RecordingWriter, WritesTimesExactlyAndShort) {
    const auto line = [](std::int64_t time) { return RecordingWriter::format({}, time); };
    EXPECT_EQ(line(0), "{\"time\":0.0,\"objects\":[]}\n");
    EXPECT_EQ(line(1'100'000'000), "{\"time\":1.1,\"objects\":[]}\n");
    EXPECT_EQ(line(1), "{\"time\":0.000000001,\"objects\":[]}\n");
    EXPECT_EQ(line(100'000'000'000), "{\"time\":100.0,\"objects\":[]}\n");
}

TEST(RecordingWriter, CountsTimesFromTheStart) {
    const TemporaryFolder folder;
    {
        RecordingWriter writer = RecordingWriter::create(folder.path("a.jsonl"));
        writer.startAt(5'000'000'000);
        writer.add(fullScene(5'040'000'000));
    }
    EXPECT_EQ(folder.read("a.jsonl"), fullLine);
}

TEST(RecordingWriter, PacksByNameAndIsReadBack) {
    const TemporaryFolder folder;
    {
        RecordingWriter writer = RecordingWriter::create(folder.path("a.gz"));
        writer.add(fullScene(40'000'000));
    }
    EXPECT_EQ(folder.read("a.gz").substr(0, 2), "\x1f\x8b");
    const Recording recording = RecordingReader::read(InputFile::open(folder.path("a.gz")));
    ASSERT_EQ(recording.scenes.size(), 1u);
    EXPECT_EQ(RecordingWriter::format(recording.scenes[0], sceneTime(recording.scenes[0])),
              fullLine);
}

TEST(RecordingWriter, EmptiesAFileThatItIsHanded) {
    const TemporaryFolder folder;
    const FileDescriptor file(open(folder.write("a", fullLine + fullLine).c_str(), O_RDWR));
    lseek(file.get(), 10, SEEK_SET);
    {
        RecordingWriter writer = RecordingWriter::fromDescriptor(file.get(), "a");
        writer.add(fullScene(40'000'000));
    }
    EXPECT_EQ(folder.read("a"), fullLine);
    EXPECT_GE(fcntl(file.get(), F_GETFD), 0);
}

TEST(RecordingWriter, KeepsWhatIsOlderThanASecondOnDisk) {
    const TemporaryFolder folder;
    RecordingWriter writer = RecordingWriter::create(folder.path("a"));
    writer.startAt(5'000'000'000);
    writer.add(fullScene(5'040'000'000));
    writer.add(fullScene(6'080'000'000));
    EXPECT_THAT(folder.read("a"), testing::StartsWith(fullLine));
}

TEST(RecordingWriter, RefusesAPlaceThatCannotBeWritten) {
    EXPECT_THROW(RecordingWriter::create("/nowhere/a"), SourceError);
    EXPECT_THROW(RecordingWriter::fromDescriptor(-1, "a"), SourceError);
}

TEST(RecordingWriter, GivesUpOnAFullDiskAndGoesOn) {
    testing::internal::CaptureStderr();
    {
        RecordingWriter writer = RecordingWriter::create("/dev/full");
        for (int i = 0; i < 3; ++i) {
            writer.add(fullScene(std::int64_t{2'000'000'000} * (i + 1)));
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "plinth: /dev/full: recording ends: No space left on device\n");
}
