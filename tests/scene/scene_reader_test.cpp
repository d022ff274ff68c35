#include "scene/scene_reader.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

#include "scene/nolt_utils.h"
#include "support/sanitizers.h"
#include "support/scene_server.h"
#include "support/syslog_capture.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using Line = SyslogCapture::Line;

/// Lowers a limit of the process while it lives.
class LowerLimit {
public:
    LowerLimit(__rlimit_resource kind, rlim_t limit) : resource(kind) {
        getrlimit(resource, &former);
        const rlimit lowered{limit, former.rlim_max};
        setrlimit(resource, &lowered);
    }
    ~LowerLimit() { setrlimit(resource, &former); }
    LowerLimit(const LowerLimit&) = delete;
    LowerLimit& operator=(const LowerLimit&) = delete;

private:
    __rlimit_resource resource;
    rlimit former{};
};

class SceneReaderTest : public testing::Test {
protected:
    SceneReaderTest() : fd(SceneReader::connect(server.path().c_str())), peer(server.accept()) {}
    ~SceneReaderTest() override { close(fd); }

    SceneReaderResult handshake(int capabilities = 14, const std::string& version = "1.1",
                                int camera = 1) {
        return SceneReader::initialize(fd, capabilities, camera, API_Version(version));
    }
    std::string requestFor(int capabilities, const std::string& version, int camera) {
        peer.reply("1.1 OK");
        handshake(capabilities, version, camera);
        return peer.readRequest();
    }

    /// The payload of the next frame; null when there is no scene.
    using Payload = std::unique_ptr<char, decltype(&free)>;
    Payload read() {
        char* payload = nullptr;
        const bool isScene = SceneReader::readScene(fd, &payload);
        EXPECT_EQ(isScene, payload != nullptr);
        return {payload, free};
    }

    SceneServer server;
    int fd;
    ScenePeer peer;
    SyslogCapture log;
};

}  // namespace

// Connecting

TEST(SceneReaderConnect, MakesNoSocketForANullPath) {
    const SyslogCapture log;
    EXPECT_EQ(SceneReader::connect(nullptr), 0);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(SceneReaderConnect, LogsAndClosesWhenNobodyListens) {
    const SceneServer server;
    const int lowestFree = dup(0);
    close(lowestFree);
    const SyslogCapture log;
    EXPECT_EQ(SceneReader::connect("/nonexistent/scenes"), -1);
    EXPECT_THAT(log.lines(),
                ElementsAre(Line{LOG_ERR, "Could not connect to service, result: -1\n\n"}));
    EXPECT_EQ(fcntl(lowestFree, F_GETFD), -1);
}

TEST(SceneReaderConnect, GivesTheNegativeDescriptorWhenNoSocketCanBeMade) {
    const SceneServer server;
    const SyslogCapture log;
    int fd = 0;
    {
        // Round the call alone: a sanitizer's own checks need descriptors.
        const LowerLimit noDescriptors(RLIMIT_NOFILE, 0);
        fd = SceneReader::connect(server.path().c_str());
    }
    EXPECT_EQ(fd, -1);
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_ERR, "Invalid scene descriptor: -1\n\n"}));
}

TEST(SceneReaderConnect, TakesAtMost107BytesOfThePath) {
    SceneServer server;
    std::string path = server.path() + "-";
    path.resize(107, 'x');
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, 107);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    const int fd = SceneReader::connect((path + "beyond").c_str());
    EXPECT_GE(fd, 0);
    close(fd);
    close(listener);
    unlink(path.c_str());
}

TEST(SceneReaderConnect, UsesTheEnginesPathUnlessToldOtherwise) {
    EXPECT_STREQ(SceneReader::socketPath, "/var/run/plinth/scenes");
}

TEST_F(SceneReaderTest, ClosesTheConnection) {
    SceneReader::disconnect(fd);
    peer.waitForClose();
    fd = -1;
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SceneReaderTest, OnlyLogsTheClosingOfANegativeDescriptor) {
    SceneReader::disconnect(-7);
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_ERR, "Invalid scene descriptor: -7\n\n"}));
}

// The request

TEST_F(SceneReaderTest, AsksForEachCapabilityThatTheVersionKnows) {
    EXPECT_EQ(requestFor(14, "1.1", 1), "1.1 OPEN 0 1 1 1 1\n");
    EXPECT_EQ(requestFor(14, "1.0", 1), "1.0 OPEN 0 1 1 1\n");
    EXPECT_EQ(requestFor(0, "1.1", 2), "1.1 OPEN 0 0 0 0 2\n");
    EXPECT_EQ(requestFor(15, "1.1", 12), "1.1 OPEN 1 1 1 1 12\n");
    EXPECT_EQ(requestFor(CapabilityLowConfident, "1.1", 1), "1.1 OPEN 0 0 0 1 1\n");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SceneReaderTest, AsksForNothingUnderAnUnknownVersionAndLogsItFourTimes) {
    EXPECT_EQ(requestFor(14, "2.0", 3), "2.0 OPEN 3\n");
    EXPECT_THAT(log.lines(), SizeIs(4));
    EXPECT_THAT(log.lines(),
                Each(Line{LOG_WARNING, "Cannon find the capabilities for version 2.0\n"}));
}

// The reply

TEST_F(SceneReaderTest, TakesTheReply) {
    peer.reply("1.1 OK");
    const SceneReaderResult result = handshake();
    EXPECT_TRUE(result.success);
    EXPECT_EQ(result.version, API_Version("1.1"));
}

TEST_F(SceneReaderTest, TakesTheOfferOfARefusal) {
    peer.reply("1.0 ERROR");
    const SceneReaderResult result = handshake();
    EXPECT_FALSE(result.success);
    EXPECT_EQ(result.version, API_Version("1.0"));
}

TEST_F(SceneReaderTest, ReadsNothingBehindTheReply) {
    peer.reply("1.1 OK");
    peer.sendFrame("abc");
    EXPECT_TRUE(handshake().success);
    EXPECT_STREQ(std::string(read().get(), 3).c_str(), "abc");
}

TEST_F(SceneReaderTest, LogsAReplyWithoutAnEndAndTakesItAsItStands) {
    std::string reply = "1.1 OK";
    reply.resize(100, ' ');
    peer.send(reply + "x");
    EXPECT_TRUE(handshake().success);
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_ERR, "Reached max_len without match\n"}));
}

TEST_F(SceneReaderTest, RefusesALongReplyOfOneWord) {
    peer.send(std::string(100, 'y'));
    const SceneReaderResult result = handshake();
    EXPECT_FALSE(result.success);
    EXPECT_FALSE(result.version.isValid());
}

TEST_F(SceneReaderTest, TakesAReplyOfNinetyNineBytesSilently) {
    std::string reply = "1.1 OK";
    reply.resize(99, ' ');
    peer.reply(reply);
    EXPECT_TRUE(handshake().success);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SceneReaderTest, LogsAReplyThatIsCutOffAndTakesWhatCame) {
    peer.send("1.1 OK");
    peer.shutDownSending();
    EXPECT_TRUE(handshake().success);
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_ERR, "Read failed\n"}));
}

TEST_F(SceneReaderTest, FailsWithoutAReply) {
    peer.shutDownSending();
    const SceneReaderResult result = handshake();
    EXPECT_FALSE(result.success);
    EXPECT_FALSE(result.version.isValid());
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_ERR, "Read failed\n"}));
}

TEST_F(SceneReaderTest, FailsSilentlyWhenThePeerHasClosedAndSurvivesIt) {
    peer.close();
    EXPECT_FALSE(handshake().success);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SceneReaderTest, RefusesANegativeDescriptor) {
    const SceneReaderResult result = SceneReader::initialize(-1, 14, 1, API_Version("1.1"));
    EXPECT_FALSE(result.success);
    EXPECT_FALSE(result.version.isValid());
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_ERR, "Invalid scene descriptor: -1\n\n"}));
}

// Frames

TEST_F(SceneReaderTest, ReadsFramesOneAfterTheOther) {
    peer.sendFrame("first");
    peer.sendFrame("second");
    EXPECT_EQ(std::string(read().get(), 5), "first");
    EXPECT_EQ(std::string(read().get(), 6), "second");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SceneReaderTest, ReadsTheLengthAsBigEndian) {
    const std::string content(256, 'p');
    peer.send(std::string("\0\0\1\0", 4));
    peer.send("anything");
    peer.send(content);
    EXPECT_EQ(std::string(read().get(), 256), content);
}

TEST_F(SceneReaderTest, ReadsAFrameThatComesInPieces) {
    peer.send(std::string("\0\0\0\6", 4));
    peer.send("12345678abc");
    peer.send("def");
    EXPECT_EQ(std::string(read().get(), 6), "abcdef");
}

TEST_F(SceneReaderTest, GivesNoSceneForALengthBelowOneAndReadsOnBehindIt) {
    for (const std::int32_t length : {0, -1, -2147483647 - 1}) {
        peer.sendHead(length);
        EXPECT_EQ(read(), nullptr) << length;
    }
    peer.sendFrame("next");
    EXPECT_EQ(std::string(read().get(), 4), "next");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SceneReaderTest, HandsAPayloadThatIsCutOffOnWithZeroesInPlaceOfTheRest) {
    peer.sendHead(1000);
    peer.send("abc");
    peer.close();
    const Payload payload = read();
    ASSERT_NE(payload, nullptr);
    EXPECT_EQ(std::string(payload.get(), 1000), "abc" + std::string(997, '\0'));
    EXPECT_EQ(read(), nullptr);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SceneReaderTest, TakesAHeadThatIsCutOffAsNoScene) {
    peer.send(std::string("\0\0", 2));
    peer.close();
    EXPECT_EQ(read(), nullptr);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SceneReaderTest, TakesTheEndOfTheConnectionAsNoSceneSilently) {
    peer.close();
    EXPECT_EQ(read(), nullptr);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SceneReaderTest, GivesNoSceneWithoutADescriptor) {
    char* payload = reinterpret_cast<char*>(this);
    EXPECT_FALSE(SceneReader::readScene(-1, &payload));
    EXPECT_EQ(payload, nullptr);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SceneReaderTest, LogsEachReadThatFails) {
    const int file = open("/dev/null", O_RDONLY);
    char* payload = nullptr;
    EXPECT_FALSE(SceneReader::readScene(file, &payload));
    close(file);
    EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_WARNING, "readFromSocket: Receive failed.\n"},
                                         Line{LOG_WARNING, "readFromSocket: Receive failed.\n"}));
}

TEST_F(SceneReaderTest, SurvivesTheGreatestLength) {
    if (isSanitized) {
        GTEST_SKIP() << "the sanitizers touch all of the block";
    }
    peer.sendHead(2147483647);
    peer.close();
    const Payload payload = read();
    if (payload != nullptr) {
        EXPECT_EQ(payload.get()[0], '\0');
        EXPECT_EQ(payload.get()[2147483646], '\0');
    }
}

TEST_F(SceneReaderTest, GivesNoSceneWhenThereIsNoMemoryForIt) {
    if (isSanitized) {
        GTEST_SKIP() << "the sanitizers need more address space";
    }
    peer.sendHead(2147483647);
    const LowerLimit littleMemory(RLIMIT_AS, 1UL << 30U);
    EXPECT_EQ(read(), nullptr);
}
