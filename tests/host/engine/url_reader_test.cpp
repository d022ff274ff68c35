// plinth-reader as it is started, against a server on the loopback.

#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "engine/file_descriptor.h"
#include "engine/packet_stream.h"
#include "rtsp_server.h"
#include "support/temporary_folder.h"
#include "video_clip.h"

using namespace std::chrono_literals;

namespace {

/// Serves one file to whoever asks for anything, one after the other.
class FileServer {
public:
    explicit FileServer(std::string served) : content(std::move(served)) {
        listener = FileDescriptor(socket(AF_INET, SOCK_STREAM, 0));
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        socklen_t size = sizeof address;
        getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &size);
        port = ntohs(address.sin_port);
        EXPECT_EQ(listen(listener.get(), 5), 0);
        thread = std::thread([this] { serve(); });
    }
    ~FileServer() {
        ending = true;
        thread.join();
    }

    std::string url() const { return "http://127.0.0.1:" + std::to_string(port) + "/clip.ts"; }

    std::atomic<int> requests{0};

private:
    void serve() {
        while (!ending) {
            pollfd waiting = {listener.get(), POLLIN, 0};
            if (poll(&waiting, 1, 20) <= 0) {
                continue;
            }
            const FileDescriptor client(accept(listener.get(), nullptr, nullptr));
            char request[4096];
            if (recv(client.get(), request, sizeof request, 0) > 0) {
                ++requests;
                const std::string answer =
                    "HTTP/1.0 200 OK\r\nContent-Type: video/mp2t\r\nContent-Length: " +
                    std::to_string(content.size()) + "\r\n\r\n" + content;
                send(client.get(), answer.data(), answer.size(), MSG_NOSIGNAL);
            }
        }
    }

    const std::string content;
    FileDescriptor listener;
    int port = 0;
    std::atomic<bool> ending{false};
    std::thread thread;
};

class UrlReaderTest : public testing::Test {
protected:
    void SetUp() override {
        VideoClip clip = {.picturesPerSecond = 25, .pictures = 25};
        clip.codec = "mpeg2video";
        clip.write(folder.path("clip.ts"));
    }
    void TearDown() override {
        if (process > 0) {
            kill(process, SIGKILL);
            wait();
        }
    }

    void start(std::vector<std::string> arguments) {
        std::string program = PLINTH_READER;
        std::vector<char*> argv = {program.data()};
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        int ends[2] = {-1, -1};
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        process = fork();
        if (process == 0) {
            dup2(ends[1], 1);
            dup2(open(folder.path("err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
            execv(argv[0], argv.data());
            _exit(127);
        }
        close(ends[1]);
        output = FileDescriptor(ends[0]);
    }

    int wait() {
        int status = 0;
        waitpid(std::exchange(process, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    /// Reads until there are `packets` packet records, or the end of the pipe.
    std::vector<PacketStream::Record> read(std::size_t packets) {
        std::vector<PacketStream::Record> records;
        PacketStream::Parser parser;
        char buffer[4096];
        for (std::size_t found = 0; found < packets;) {
            pollfd waiting = {output.get(), POLLIN, 0};
            if (poll(&waiting, 1, 20'000) <= 0) {
                break;
            }
            const ssize_t got = ::read(output.get(), buffer, sizeof buffer);
            if (got <= 0) {
                break;
            }
            parser.add({buffer, static_cast<std::size_t>(got)});
            for (PacketStream::Record record; parser.next(record);) {
                found += record.head.kind == PacketStream::Kind::Packet ? 1 : 0;
                records.push_back(record);
            }
        }
        return records;
    }

    TemporaryFolder folder;
    FileDescriptor output;
    pid_t process = -1;
};

}  // namespace

TEST_F(UrlReaderTest, ChecksAUrl) {
    start({"--check", "rtsp://camera/stream"});
    EXPECT_EQ(wait(), 0);
    EXPECT_EQ(folder.read("err"), "");
    start({"--check", "file:///etc/passwd"});
    EXPECT_EQ(wait(), 2);
    EXPECT_EQ(folder.read("err"),
              "plinth-reader: file:///etc/passwd: is of a kind that cannot be read\n");
    start({});
    EXPECT_EQ(wait(), 2);
    EXPECT_EQ(folder.read("err"), "plinth-reader: usage: plinth-reader [--check | --once] URL\n");
}

TEST_F(UrlReaderTest, ForwardsAStreamOnce) {
    const FileServer server(folder.read("clip.ts"));
    start({"--once", server.url()});
    const auto records = read(1000);
    EXPECT_EQ(wait(), 0);
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records[0].head.kind, PacketStream::Kind::Stream);
    EXPECT_EQ(records[0].head.width, 192);
    EXPECT_EQ(records[0].head.height, 144);
    std::vector<std::int64_t> times;
    for (const auto& record : records) {
        if (record.head.kind == PacketStream::Kind::Packet) {
            times.push_back(record.head.time);
        }
    }
    ASSERT_EQ(times.size(), 25u);
    EXPECT_EQ(times[1] - times[0], 40'000'000);
    EXPECT_EQ(records[1].head.isKey, 1u);
}

TEST_F(UrlReaderTest, DescribesTheStreamBeforeEachKeyPacket) {
    const FileServer server(folder.read("clip.ts"));
    start({"--once", server.url()});
    const auto records = read(1000);
    for (std::size_t i = 1; i < records.size(); ++i) {
        const bool key =
            records[i].head.kind == PacketStream::Kind::Packet && records[i].head.isKey != 0;
        EXPECT_EQ(key, records[i - 1].head.kind == PacketStream::Kind::Stream) << i;
    }
}

TEST_F(UrlReaderTest, TakesAFileAtItsOwnPace) {
    const FileServer server(folder.read("clip.ts"));
    const auto begin = std::chrono::steady_clock::now();
    start({"--once", server.url()});
    read(1000);
    EXPECT_GT(std::chrono::steady_clock::now() - begin, 800ms);  // 25 pictures of 40 ms
}

TEST_F(UrlReaderTest, PlaysAFileAgainAsAnotherSession) {
    const FileServer server(folder.read("clip.ts"));
    start({server.url()});
    const auto records = read(30);
    ASSERT_GE(records.size(), 30u);
    EXPECT_NE(records.front().head.session, records.back().head.session);
    kill(process, SIGTERM);
    EXPECT_EQ(wait(), -SIGTERM);  // 0 would say that the source has ended
}

TEST_F(UrlReaderTest, TriesAgainUntilTheSourceIsThere) {
    int port = 0;
    {
        const FileServer server("");
        port = std::stoi(server.url().substr(17));
    }
    start({"http://127.0.0.1:" + std::to_string(port) + "/clip.ts"});
    pollfd waiting = {output.get(), POLLIN, 0};
    EXPECT_EQ(poll(&waiting, 1, 1200), 0);  // at least one retry
    EXPECT_EQ(waitpid(process, nullptr, WNOHANG), 0);
    const std::string told = folder.read("err");
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
    kill(process, SIGTERM);
    EXPECT_EQ(wait(), -SIGTERM);  // 0 would say that the source has ended
}

TEST_F(UrlReaderTest, EndsWhenNobodyReads) {
    const FileServer server(folder.read("clip.ts"));
    start({server.url()});
    read(2);
    output.reset();
    EXPECT_EQ(wait(), 0);
}

TEST_F(UrlReaderTest, EndsWhenNobodyReadsAndThereIsNoSource) {
    start({"http://127.0.0.1:1/clip.ts"});
    output.reset();
    EXPECT_EQ(wait(), 0);
}

TEST_F(UrlReaderTest, TakesUpACameraAgainThatWasLost) {
    VideoClip clip = {.picturesPerSecond = 25, .pictures = 25};
    clip.write(folder.path("clip.avi"));
    const RtspServer camera(folder.path("clip.avi"));
    start({camera.url()});
    const auto records = read(30);
    ASSERT_GE(records.size(), 30u);
    EXPECT_GE(camera.plays(), 2);
    EXPECT_EQ(records.front().head.kind, PacketStream::Kind::Stream);
    EXPECT_EQ(records.front().head.width, 192);
    EXPECT_NE(records.front().head.session, records.back().head.session);
    kill(process, SIGTERM);
    EXPECT_EQ(wait(), -SIGTERM);  // 0 would say that the source has ended
    EXPECT_THAT(folder.read("err"), testing::HasSubstr(": connected\n"));
    EXPECT_THAT(folder.read("err"), testing::HasSubstr(": the stream was lost\n"));
}
