#include "engine_program.h"

#include <gmock/gmock.h>
#include <signal.h>

#include "engine/input_file.h"
#include "engine/recording_reader.h"
#include "engine/recording_writer.h"

using namespace std::chrono_literals;

namespace {

const std::string emptyScene = R"({"time":0,"objects":[]})";

}  // namespace

TEST_F(EngineProgram, ChecksSources) {
    const std::string good = folder.write("good.jsonl", emptyScene);
    EXPECT_EQ(run({"--check", "--scenes", good}), 0);
    EXPECT_EQ(folder.read("out") + folder.read("err"), "");
}

TEST_F(EngineProgram, RefusesABadSourceInOneLine) {
    const std::string bad = folder.write("bad.jsonl", emptyScene + "\n{}\n{}\n");
    for (const char* action : {"--check", "--describe"}) {
        EXPECT_EQ(run({action, "--scenes", bad}), 2);
        EXPECT_EQ(folder.read("err"), "plinth: " + bad + ":2: time is not a number\n");
    }
    EXPECT_EQ(run({"--socket", socket, "--scenes", bad}), 2);
    EXPECT_EQ(folder.read("err"), "plinth: " + bad + ":2: time is not a number\n");
}

TEST_F(EngineProgram, RefusesABadOptionOrPlaceInOneLine) {
    EXPECT_EQ(run({"--nonsense"}), 2);
    EXPECT_EQ(folder.read("err"), "plinth: --nonsense: is no option\n");
    const std::string good = folder.write("good.jsonl", emptyScene);
    EXPECT_EQ(run({"--socket", "/nowhere/scenes", "--scenes", good}), 2);
    EXPECT_EQ(folder.read("err"), "plinth: /nowhere/scenes: No such file or directory\n");
    EXPECT_EQ(run({"--socket", socket, "--scenes", good, "--record", "/nowhere/r"}), 2);
    EXPECT_EQ(folder.read("err"), "plinth: /nowhere/r: No such file or directory\n");
    EXPECT_EQ(run({"--socket", socket, "--scenes", good, "--dump", "/nowhere"}), 2);
    EXPECT_EQ(folder.read("err"), "plinth: /nowhere: No such file or directory\n");
}

TEST_F(EngineProgram, DescribesSources) {
    const std::string file = folder.write("good.jsonl", emptyScene);
    FileDescriptor handed(open(file.c_str(), O_RDONLY));
    EXPECT_EQ(run({"--describe", "--scenes", file, "--scenes-fd", std::to_string(handed.get()),
                   "its \"name\""}),
              0);
    EXPECT_EQ(folder.read("out"),
              R"({"camera":1,"kind":"scenes","name":")" + file +
                  R"(","width":1280,"height":720,"fps":10.0,"aspectRatio":"16:9"})"
                  "\n"
                  R"({"camera":2,"kind":"scenes","name":"its \"name\"","width":1280,"height":720,)"
                  R"("fps":10.0,"aspectRatio":"16:9"})"
                  "\n");
}

TEST_F(EngineProgram, EndsInOrderWithinASecond) {
    const std::string source = folder.write("good.jsonl", emptyScene);
    for (const int signal : {SIGTERM, SIGINT}) {
        start({"--socket", socket, "--scenes", source, "--scenes", source});
        const FileDescriptor client = connectWhenReady();
        ASSERT_TRUE(client);
        const auto begin = std::chrono::steady_clock::now();
        kill(process, signal);
        EXPECT_EQ(wait(), 0);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
        EXPECT_NE(access(socket.c_str(), F_OK), 0);
        EXPECT_EQ(folder.read("err"), "");
    }
}

TEST_F(EngineProgram, RecordsWhatItServes) {
    const std::string lines =
        R"({"time":0.1,"objects":[{"id":1,"polygon":[[0,0],[0,9],[9,9]],"velocity":[1,2]}]})"
        "\n"
        R"({"time":0.2,"objects":[{"id":1,"boundingBox":[[0,0],[9,9]],"confidence":4000}]})"
        "\n"
        R"({"time":0.3,"objects":[],"events":[{"action":"delete","ids":[1]}]})"
        "\n";
    start({"--socket", socket, "--scenes", folder.write("walk.jsonl", lines), "--scenes",
           folder.write("other.jsonl", emptyScene), "--record", folder.path("record.gz")});
    const FileDescriptor client = connectWhenReady();
    ASSERT_TRUE(client);
    const std::string request = "1.0 OPEN 0 0 0 1\n";  // what a client asked for is no matter here
    ASSERT_GT(write(client.get(), request.data(), request.size()), 0);
    char buffer[4096];
    for (std::size_t got = 0; got < 3 * 80;) {  // three scenes and more
        const ssize_t count = read(client.get(), buffer, sizeof buffer);
        ASSERT_GT(count, 0);
        got += static_cast<std::size_t>(count);
    }
    kill(process, SIGTERM);
    EXPECT_EQ(wait(), 0);
    const Recording recorded = RecordingReader::read(InputFile::open(folder.path("record.gz")));
    ASSERT_GE(recorded.scenes.size(), 3u);
    std::string text;
    for (std::size_t i = 0; i < 3; ++i) {
        text += RecordingWriter::format(recorded.scenes[i], sceneTime(recorded.scenes[i]));
    }
    EXPECT_EQ(text, lines);
    EXPECT_EQ(folder.read("record.gz.2"), "");  // nobody opened camera 2
}
