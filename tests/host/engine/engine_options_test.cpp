#include "engine/engine_options.h"

#include <gtest/gtest.h>

#include "engine/source_error.h"

namespace {

std::string refusal(const std::vector<std::string>& arguments) {
    try {
        EngineOptions::parse(arguments);
    } catch (const SourceError& error) {
        return error.what();
    }
    return "accepted";
}

}  // namespace

TEST(EngineOptions, KeepsTheSourcesInTheirOrder) {
    const EngineOptions options = EngineOptions::parse(
        {"--socket", "/s", "--video", "a.avi", "--scenes-fd", "5", "b.jsonl", "--pipe-fd", "6",
         "rtsp://c", "--scenes", "d.jsonl", "--video-fd", "7", "e.avi"});
    EXPECT_EQ(options.action, EngineOptions::Action::Serve);
    EXPECT_EQ(options.socket, "/s");
    EXPECT_FALSE(options.loop);
    ASSERT_EQ(options.sources.size(), 5u);
    const auto expect = [&](int i, SourceOption::Kind kind, const char* name,
                            std::optional<int> descriptor) {
        EXPECT_EQ(options.sources[i].kind, kind);
        EXPECT_EQ(options.sources[i].file.name, name);
        EXPECT_EQ(options.sources[i].file.descriptor, descriptor);
    };
    expect(0, SourceOption::Kind::Video, "a.avi", {});
    expect(1, SourceOption::Kind::Scenes, "b.jsonl", 5);
    expect(2, SourceOption::Kind::Pipe, "rtsp://c", 6);
    expect(3, SourceOption::Kind::Scenes, "d.jsonl", {});
    expect(4, SourceOption::Kind::Video, "e.avi", 7);
}

TEST(EngineOptions, NumbersRecordingsFromTheSecondOn) {
    const EngineOptions options = EngineOptions::parse(
        {"--socket", "/s", "--record", "r.gz", "--scenes", "a", "--scenes", "b", "--loop"});
    ASSERT_EQ(options.records.size(), 2u);
    EXPECT_EQ(options.records[0].name, "r.gz");
    EXPECT_EQ(options.records[1].name, "r.gz.2");
    EXPECT_EQ(options.loop, true);
}

TEST(EngineOptions, TakeAFolderForPictures) {
    EXPECT_EQ(EngineOptions::parse({"--socket", "/s", "--video", "a"}).dump, "");
    EXPECT_EQ(EngineOptions::parse({"--socket", "/s", "--video", "a", "--dump", "p"}).dump, "p");
}

TEST(EngineOptions, TakeASocketForPicturesBesideTheFolder) {
    const EngineOptions options =
        EngineOptions::parse({"--socket", "/s", "--video", "a", "--pictures", "/p", "--dump", "d"});
    EXPECT_EQ(options.pictures, "/p");
    EXPECT_EQ(options.dump, "d");
    EXPECT_EQ(EngineOptions::parse({"--socket", "/s", "--video", "a"}).pictures, "");
    EXPECT_EQ(refusal({"--video", "a", "--pictures"}), "--pictures: a value is missing");
}

TEST(EngineOptions, NeedNoSocketToCheckOrDescribe) {
    EXPECT_EQ(EngineOptions::parse({"--check", "--scenes", "a"}).action,
              EngineOptions::Action::Check);
    EXPECT_EQ(EngineOptions::parse({"--scenes", "a", "--describe"}).action,
              EngineOptions::Action::Describe);
}

TEST(EngineOptions, SayWhatIsWrong) {
    EXPECT_EQ(refusal({}), "no source: give --scenes or --video");
    EXPECT_EQ(refusal({"--scenes", "a"}), "no socket: give --socket");
    EXPECT_EQ(refusal({"--scenes"}), "--scenes: a value is missing");
    EXPECT_EQ(refusal({"--scenes-fd", "5"}), "--scenes-fd: a value is missing");
    EXPECT_EQ(refusal({"--scenes-fd", "x", "a"}), "--scenes-fd: x is no descriptor");
    EXPECT_EQ(refusal({"--video-fd", "-1", "a"}), "--video-fd: -1 is no descriptor");
    EXPECT_EQ(refusal({"--frobnicate"}), "--frobnicate: is no option");
    EXPECT_EQ(refusal({"a.avi"}), "a.avi: is no option");
    EXPECT_EQ(
        refusal({"--socket", "/s", "--scenes", "a", "--record", "r", "--record-fd", "3", "q"}),
        "--record and --record-fd exclude each other");
    EXPECT_EQ(refusal({"--socket", "/s", "--scenes", "a", "--record-fd", "3", "q", "--record-fd",
                       "4", "r"}),
              "--record-fd: there are more recordings than sources");
}
