#include "overlay/command_channel_handler.h"

#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

#include "support/failure_of.h"
#include "support/overlay_device.h"
#include "support/syslog_capture.h"
#include "support/wait_for.h"

namespace {

thread_local bool failingCloses = false;

}  // namespace

/// The system's own under its other name. ThreadSanitizer hears of it there too; otherwise it would
/// take the number for still open when another thread gets it.
extern "C" int __close(int descriptor);  // NOLINT(bugprone-reserved-identifier)

/// Stands before the system's own, to let it report a failure.
extern "C" int close(int descriptor) {
    const int result = __close(descriptor);
    return failingCloses ? -1 : result;
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class CommandChannel : public testing::Test {
protected:
    /// The handle in a reply, whatever the request.
    int handleOf(const std::string& reply) {
        device.answerRequests([reply](const std::string&) { return reply; });
        return CommandChannelHandler().getBufferHandle("{}");
    }

    PrivateBus bus;
    OverlayDevice device{bus};
    SyslogCapture log;
};

TEST_F(CommandChannel, IsAskedForAtTheGraphicsService) {
    const CommandChannelHandler handler;
    EXPECT_THAT(device.calls(), ElementsAre("GetCommandChannel /com/orva/Graphics1 ()"));
    EXPECT_THAT(device.interfaces(), ElementsAre("com.orva.Graphics1.Overlay"));
}

TEST_F(CommandChannel, SendsTheTextAndItsTerminatingZero) {
    CommandChannelHandler handler;
    handler.submitBuffer("some request");
    EXPECT_THAT(device.requests(), ElementsAre(std::string("some request\0", 13)));
}

TEST_F(CommandChannel, ReadsTheHandle) {
    EXPECT_EQ(handleOf(R"({"data": {"buffer": 8192}})"), 8192);
    EXPECT_EQ(handleOf(R"({"data": {"buffer": 0}})"), 0);
    EXPECT_EQ(handleOf(R"({"data": {"buffer": 2147483647}})"), 2147483647);
}

TEST_F(CommandChannel, ReadsTheReplyUpToItsZero) {
    EXPECT_EQ(handleOf(std::string(R"({"data": {"buffer": 5}})") + '\0' + "old bytes"), 5);
}

TEST_F(CommandChannel, FindsNoHandleInAnythingElse) {
    for (const char* reply :
         {"no json", "[]", "{}", R"({"data": 5})", R"({"data": {}})", R"({"buffer": 5})",
          R"({"data": {"buffer": "5"}})", R"({"data": {"buffer": 5.0}})",
          R"({"data": {"buffer": -7}})", R"({"data": {"buffer": 2147483648}})",
          R"({"data": {"buffer": 5})", R"({"error": {"code": 5}})"}) {
        EXPECT_EQ(handleOf(reply), -1) << reply;
    }
}

TEST_F(CommandChannel, TakesNoMoreThan512BytesOfAReply) {
    const std::string reply = R"({"data": {"buffer": 5}})";
    EXPECT_EQ(handleOf(reply + std::string(512 - reply.size(), ' ')), 5);
    EXPECT_EQ(handleOf(R"({"data": )" + std::string(500, ' ') + R"({"buffer": 5}})"), -1);
}

TEST_F(CommandChannel, FailsASubmissionWithAnErrorAnywhereInTheReply) {
    CommandChannelHandler handler;
    for (const std::string reply :
         {R"({"error": {}})", R"({"method": "submitBuffer", "text": "no terrors"})", "error"}) {
        device.answerRequests([reply](const std::string&) { return reply + '\0' + "rest"; });
        EXPECT_EQ(failureOf([&] { handler.submitBuffer("{}"); }),
                  "Error when submitting buffer: " + reply);
    }
}

TEST_F(CommandChannel, TakesAnyOtherReplyToASubmission) {
    CommandChannelHandler handler;
    for (const std::string reply : {"{}", "no json", R"({"Error": {}})", "erro"}) {
        device.answerRequests([reply](const std::string&) { return reply + '\0' + "error"; });
        EXPECT_EQ(failureOf([&] { handler.submitBuffer("{}"); }), "") << reply;
    }
}

TEST_F(CommandChannel, FailsWithoutABus) {
    bus.stop();
    EXPECT_THAT(failureOf([] { CommandChannelHandler(); }),
                StartsWith("Failed to create overlay graphics proxy: "));
}

TEST_F(CommandChannel, FailsWhenNoneIsHandedOut) {
    device.failAt(1);
    EXPECT_EQ(failureOf([] { CommandChannelHandler(); }),
              "Failed to get command channel file descriptor: Failed to get command channel: "
              "GDBus.Error:com.orva.Error: told to\n");
    device.answer("GetCommandChannel", [] { return g_variant_new("(h)", 0); });
    EXPECT_EQ(failureOf([] { CommandChannelHandler(); }),
              "Failed to get command channel file descriptor: Invalid file descriptor");
}

TEST_F(CommandChannel, FailsWithWhatIsNoSocketAndClosesIt) {
    device.handOut("GetCommandChannel", open("/dev/null", O_RDWR | O_CLOEXEC));
    const auto countDescriptors = [] {
        int count = 0;
        DIR* folder = opendir("/proc/self/fd");
        while (readdir(folder) != nullptr) {
            ++count;
        }
        closedir(folder);
        return count;
    };
    const auto failure = [] { return failureOf([] { CommandChannelHandler(); }); };
    const char* text = "Failed to create command channel socket";
    EXPECT_EQ(failure(), text);
    const int before = countDescriptors();
    for (int i = 0; i < 20; ++i) {
        failure();
    }
    // The bus's own threads close the copies that travelled a moment later.
    EXPECT_TRUE(waitFor([&] { return countDescriptors() < before + 10; }));
    EXPECT_THAT(log.lines(), IsEmpty());
    failingCloses = true;
    EXPECT_EQ(failure(), text);
    failingCloses = false;
    EXPECT_THAT(log.lines(),
                ElementsAre(SyslogCapture::Line{LOG_WARNING, "Failed to close fd for socket\n"}));
}

/// A channel whose other end a test holds.
class HeldChannel : public CommandChannel {
protected:
    HeldChannel() {
        socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data());
        device.handOut("GetCommandChannel", ends[1]);
    }
    ~HeldChannel() override { close(ends[0]); }

    std::array<int, 2> ends{};
};

TEST_F(HeldChannel, FailsASendToNobody) {
    CommandChannelHandler handler;
    shutdown(ends[0], SHUT_RDWR);
    EXPECT_THAT(failureOf([&] { handler.submitBuffer("{}"); }),
                StartsWith("Failed to submit the buffer: "));
}

TEST_F(HeldChannel, FailsAShortSend) {
    CommandChannelHandler handler(1);
    EXPECT_EQ(failureOf([&] { handler.submitBuffer(std::string(4 << 20, ' ')); }),
              "Command channel socket could not send all data");
}

TEST_F(HeldChannel, FailsWithoutAReplyInTime) {
    CommandChannelHandler handler(1);
    EXPECT_EQ(failureOf([&] { handler.submitBuffer("{}"); }),
              "Failed to submit the buffer, no response after submitting: Socket I/O timed out\n");
}

TEST_F(HeldChannel, FailsAnEmptyReply) {
    CommandChannelHandler handler;
    shutdown(ends[0], SHUT_WR);
    EXPECT_EQ(failureOf([&] { handler.submitBuffer("{}"); }), "bytesRead <= 0");
    EXPECT_EQ(failureOf([&] { handler.getBufferHandle("{}"); }), "bytesRead <= 0");
}

TEST_F(HeldChannel, IsClosedWithTheHandler) {
    {
        const CommandChannelHandler handler;
        device.handOut("GetCommandChannel", open("/dev/null", O_RDWR | O_CLOEXEC));
    }
    // The bus's own threads close the copies that travelled a moment later.
    char byte = 0;
    EXPECT_TRUE(waitFor([&] { return recv(ends[0], &byte, 1, MSG_DONTWAIT) == 0; }));
}

TEST_F(HeldChannel, IsClosedWhenAnotherTakesItsPlace) {
    CommandChannelHandler handler;
    std::array<int, 2> others{};
    socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, others.data());
    device.handOut("GetCommandChannel", others[1]);
    handler.createCommandChannel();
    char byte = 0;
    EXPECT_TRUE(waitFor([&] { return recv(ends[0], &byte, 1, MSG_DONTWAIT) == 0; }));
    EXPECT_EQ(recv(others[0], &byte, 1, MSG_DONTWAIT), -1);
    close(others[0]);
}

TEST_F(CommandChannel, TakesThePlaceOfTheOneBefore) {
    CommandChannelHandler handler;
    device.answerRequests([](const std::string&) { return std::string(); });
    EXPECT_NE(failureOf([&] { handler.submitBuffer("{}"); }), "");
    device.answerRequests({});
    handler.createCommandChannel();
    EXPECT_EQ(failureOf([&] { handler.submitBuffer("{}"); }), "");
}

TEST_F(CommandChannel, StaysWhenNoOtherIsHandedOut) {
    CommandChannelHandler handler;
    device.failAt(1);
    EXPECT_NE(failureOf([&] { handler.createCommandChannel(); }), "");
    EXPECT_EQ(failureOf([&] { handler.submitBuffer("{}"); }), "");
}

}  // namespace
