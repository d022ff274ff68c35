#include "video/command_channel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <optional>

#include "support/wait_for.h"
#include "video/fault_plan.h"
#include "video/overlay_store.h"

#include <glib.h>

namespace {

using testing::HasSubstr;

const std::string kGetBuffer =
    R"({"apiVersion": "1.0", "method": "getBuffer", "context": "", "params": {"overlayId": 1}})";
const std::string kSubmitBuffer =
    R"({"apiVersion": "1.0", "method": "submitBuffer", "context": "", )"
    R"("params": {"overlayId": 1, "buffer": 0}})";
const std::string kBufferAnswer =
    R"({"apiVersion":"1.0","method":"getBuffer","context":"","data":{"buffer":0}})";
const std::string kSubmitAnswer = R"({"apiVersion":"1.0","method":"submitBuffer","context":""})";

class CommandChannelTest : public testing::Test {
protected:
    CommandChannelTest() {
        int ends[2];
        socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends);
        client = FileDescriptor(ends[0]);
        channel.emplace(FileDescriptor(ends[1]),
                        OverlayCommands(store, [](const std::string&) { return true; }), faults,
                        [this] { channel.reset(); });
        store.addPalette({{1, 1, 1280, 720, 0}, 32, 16, {-1, -1}, "-1,-1", true, ":1.7"});
    }
    void sendBytes(const std::string& bytes) {
        ASSERT_EQ(::send(client.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }
    void send(const std::string& text) { sendBytes(text + '\0'); }
    /// The next message as it comes, or "closed", or "nothing" after ten seconds.
    std::string receiveBytes() {
        std::array<char, 1024> data;
        ssize_t size = -1;
        const bool isThere = waitFor([&] {
            while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
            }
            size = recv(client.get(), data.data(), data.size(), MSG_DONTWAIT);
            return size >= 0 || errno == ECONNRESET;
        });
        if (!isThere) {
            return "nothing";
        }
        return size <= 0 ? (channel ? "empty" : "closed")
                         : std::string(data.data(), static_cast<std::size_t>(size));
    }
    /// The next message without its terminating zero byte.
    std::string receive() {
        std::string bytes = receiveBytes();
        if (!bytes.empty() && bytes.back() == '\0') {
            bytes.pop_back();
        }
        return bytes;
    }
    std::string exchange(const std::string& text) {
        send(text);
        return receive();
    }
    bool isClosedInTime() {
        return waitFor([this] {
            while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
            }
            return !channel.has_value();
        });
    }

    OverlayStore store;
    FaultPlan faults;
    FileDescriptor client;
    std::optional<CommandChannel> channel;
};

TEST_F(CommandChannelTest, AnswersEachRequestWithATextAndItsZeroByte) {
    send(kGetBuffer);
    EXPECT_EQ(receiveBytes(), kBufferAnswer + '\0');
    send(kSubmitBuffer);
    EXPECT_EQ(receiveBytes(), kSubmitAnswer + '\0');
}

TEST_F(CommandChannelTest, TakesARequestWithoutItsZeroByte) {
    sendBytes(kGetBuffer);
    EXPECT_EQ(receive(), kBufferAnswer);
}

TEST_F(CommandChannelTest, AnswersInTheOrderOfRequests) {
    send(kGetBuffer);
    send(kSubmitBuffer);
    send("garbage");
    EXPECT_EQ(receive(), kBufferAnswer);
    EXPECT_EQ(receive(), kSubmitAnswer);
    EXPECT_THAT(receive(), HasSubstr(R"("message":"no JSON")"));
}

TEST_F(CommandChannelTest, RefusesGarbageAndGoesOn) {
    for (const std::string& bytes :
         {std::string(1, '\0'), std::string("garbage"), std::string("\xff\xfe\0{}", 5),
          std::string(CommandChannel::kMostRequestBytes, '{'), kGetBuffer + '\0' + kGetBuffer}) {
        sendBytes(bytes);
        EXPECT_THAT(receive(), HasSubstr(R"("message":"no JSON")"));
    }
    EXPECT_EQ(exchange(kGetBuffer), kBufferAnswer);
}

TEST_F(CommandChannelTest, RefusesARequestThatIsTooLong) {
    sendBytes(std::string(CommandChannel::kMostRequestBytes + 1, ' '));
    EXPECT_THAT(receive(), HasSubstr(R"("message":"the request is too long")"));
    EXPECT_EQ(exchange(kGetBuffer), kBufferAnswer);
}

TEST_F(CommandChannelTest, ClosesWhenTheClientHangsUp) {
    client.reset();
    EXPECT_TRUE(isClosedInTime());
}

TEST_F(CommandChannelTest, TakesAnEmptyMessageForAHangUp) {
    sendBytes("");
    EXPECT_TRUE(isClosedInTime());
}

TEST_F(CommandChannelTest, ClosesOnAClientThatTakesNoReplies) {
    testing::internal::CaptureStderr();
    while (channel) {
        ::send(client.get(), "x", 1, MSG_DONTWAIT | MSG_NOSIGNAL);
        g_main_context_iteration(nullptr, FALSE);
    }
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("a command channel is closed: its client takes no replies\n"));
}

TEST_F(CommandChannelTest, AnswersWithAnErrorWhenToldTo) {
    faults.set("submitBuffer", "error", 1, 1, 0);
    EXPECT_EQ(exchange(kGetBuffer), kBufferAnswer);
    EXPECT_EQ(exchange(kSubmitBuffer),
              R"({"apiVersion":"1.0","error":{"code":1,"message":"told to"}})");
    EXPECT_EQ(exchange(kSubmitBuffer), kSubmitAnswer);
}

TEST_F(CommandChannelTest, CutsAReplyWhenToldTo) {
    faults.set("getBuffer", "short", 1, 1, 0);
    send(kGetBuffer);
    EXPECT_EQ(receiveBytes(), kBufferAnswer.substr(0, kBufferAnswer.size() / 2));
}

TEST_F(CommandChannelTest, TellsOfABufferBeyondTheMemoryWhenToldTo) {
    faults.set("getBuffer", "wrong", 1, 1, 0);
    EXPECT_EQ(exchange(kGetBuffer), R"({"apiVersion":"1.0","data":{"buffer":2147479552}})");
    EXPECT_GT(2147479552, CameraMemory::kSize);
}

TEST_F(CommandChannelTest, RepliesNothingWhenToldTo) {
    faults.set("getBuffer", "empty", 1, 1, 0);
    send(kGetBuffer);
    EXPECT_EQ(receiveBytes(), "empty");
    EXPECT_EQ(exchange(kGetBuffer), kBufferAnswer);
}

TEST_F(CommandChannelTest, RepliesLateWhenToldToAndKeepsTheOrder) {
    faults.set("getBuffer", "late", 1, 1, 50);
    const gint64 begin = g_get_monotonic_time();
    send(kGetBuffer);
    send(kSubmitBuffer);
    EXPECT_EQ(receive(), kBufferAnswer);
    EXPECT_GE(g_get_monotonic_time() - begin, 50000);
    EXPECT_EQ(receive(), kSubmitAnswer);
}

TEST_F(CommandChannelTest, EndsWhileAReplyIsLate) {
    faults.set("getBuffer", "late", 1, 1, 1000);
    send(kGetBuffer);
    ASSERT_TRUE(waitFor([] { return g_main_context_iteration(nullptr, FALSE) != FALSE; }));
    channel.reset();
    EXPECT_EQ(receive(), "closed");
}

TEST_F(CommandChannelTest, SurvivesAClientThatLeavesBeforeALateReply) {
    faults.set("getBuffer", "late", 1, 1, 10);
    send(kGetBuffer);
    ASSERT_TRUE(waitFor([] { return g_main_context_iteration(nullptr, FALSE) != FALSE; }));
    client.reset();
    EXPECT_TRUE(isClosedInTime());
}

}  // namespace
