#include "scene/socket_camera.h"

#include <syslog.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <utility>

#include "scene/camera_fixture.h"
#include "support/scene_server.h"
#include "support/syslog_capture.h"
#include "support/wait_for.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

using Line = SyslogCapture::Line;

const Line lostStream{LOG_WARNING, "Could not read scene.\n"};

/// The camera's thread runs from begin() on; the test plays the engine.
class SocketCameraTest : public CameraFixture {
protected:
    ~SocketCameraTest() override { finish(); }

    SocketCamera& begin(API_VersionHandler handler = versions(), int cameraId = 1) {
        camera = std::make_unique<SocketCamera>(cameraId, 0, std::move(handler), 14);
        camera->insertGuard(spy(4));
        log.clear();
        camera->start(SocketCamera::run, camera.get());
        return *camera;
    }
    bool endsInTime() {
        return waitFor([&] { return !camera->isRunning(); });
    }
    /// Ends the thread by way of one more frame.
    void endBy(ScenePeer& peer) {
        camera->stop();
        try {
            peer.sendFrame("end");
        } catch (const std::runtime_error&) {
            // It had not begun to wait for a frame.
        }
        camera->join();
    }
    void finish() {
        if (camera == nullptr) {
            return;
        }
        camera->stop();
        // Whatever the thread waits for: nobody answers any more.
        server.stopListening();
        camera->join();
        camera.reset();
    }

    SceneServer server;
    SyslogCapture log;
    std::unique_ptr<SocketCamera> camera;
};

}  // namespace

// Connecting

TEST_F(SocketCameraTest, AsksForTheHighestVersionFirst) {
    begin();
    ScenePeer peer = server.accept();
    EXPECT_EQ(peer.readRequest(), "1.1 OPEN 0 1 1 1 1\n");
    peer.reply("1.1 OK");
    endBy(peer);
    EXPECT_EQ(camera->getCapabilities(), 14U);
    EXPECT_FALSE(server.hasPending());
}

TEST_F(SocketCameraTest, AsksForItsOwnCamera) {
    begin(versions(), 12);
    ScenePeer peer = server.accept();
    EXPECT_EQ(peer.readRequest(), "1.1 OPEN 0 1 1 1 12\n");
    peer.close();
}

TEST_F(SocketCameraTest, TriesTheOfferedVersionOnANewConnectionAndGivesUpItsLack) {
    begin();
    ScenePeer first = server.accept();
    first.readRequest();
    first.reply("1.0 ERROR");
    ScenePeer second = server.accept();
    first.waitForClose();
    EXPECT_EQ(second.readRequest(), "1.0 OPEN 0 1 1 1\n");
    second.reply("1.0 OK");
    scene.track(3).enters({0, 0}, {100, 100}).hasConfidence(0);
    second.sendFrame(payloadAt(1s));
    // The confidence is not read any more: the object counts as confident, and alarms.
    EXPECT_TRUE(journal.getsInTime("4: scene 1000000 3@1000000"));
    endBy(second);
    EXPECT_THAT(events.take(), Contains("start Camera1Profile4 1000000"));
    EXPECT_EQ(camera->getCapabilities(), 6U);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SocketCameraTest, ReadsTheConfidenceWhereTheVersionHasIt) {
    begin();
    ScenePeer peer = server.acceptAndGrant();
    scene.track(3).enters({0, 0}, {100, 100}).hasConfidence(4095);
    peer.sendFrame(payloadAt(1s));
    EXPECT_TRUE(journal.getsInTime("4: scene 1000000 3@1000000"));
    endBy(peer);
    EXPECT_THAT(events.take(), Not(Contains("start Camera1Profile4 1000000")));
}

TEST_F(SocketCameraTest, TriesEveryVersionNotAboveTheOfferFromTheHighestDown) {
    begin();
    std::vector<std::string> requests;
    std::vector<ScenePeer> peers;
    for (const char* answer : {"1.1 BUSY", "1.1 BUSY", "1.0 BUSY"}) {
        peers.push_back(server.accept());
        requests.push_back(peers.back().readRequest());
        peers.back().reply(answer);
    }
    EXPECT_TRUE(endsInTime());
    EXPECT_THAT(requests,
                ElementsAre("1.1 OPEN 0 1 1 1 1\n", "1.1 OPEN 0 1 1 1 1\n", "1.0 OPEN 0 1 1 1\n"));
    EXPECT_THAT(log.lines(),
                ElementsAre(Line{LOG_ERR,
                                 "Could not initialize the object data stream to camera 1, requred "
                                 "version 1.0 supported versions 1.0 1.1 \n"}));
}

TEST_F(SocketCameraTest, TriesNoOtherVersionAfterAReplyOfThreeWords) {
    begin();
    ScenePeer peer = server.accept();
    peer.reply("1.0 ERROR now");
    EXPECT_TRUE(endsInTime());
    EXPECT_FALSE(server.hasPending());
    EXPECT_THAT(log.lines(),
                ElementsAre(Line{LOG_ERR,
                                 "Could not initialize the object data stream to camera 1, requred "
                                 "version  supported versions 1.0 1.1 \n"}));
}

TEST_F(SocketCameraTest, TriesNoVersionWhenTheOfferIsBelowAllOfThem) {
    begin();
    ScenePeer peer = server.accept();
    peer.reply("0.9 ERROR");
    EXPECT_TRUE(endsInTime());
    EXPECT_FALSE(server.hasPending());
}

TEST_F(SocketCameraTest, AsksWithoutAVersionWhenItKnowsNone) {
    begin({});
    ScenePeer peer = server.accept();
    EXPECT_EQ(peer.readRequest(), " OPEN 1\n");
    peer.reply("1.1 ERROR");
    EXPECT_TRUE(endsInTime());
    const std::vector<Line> lines = log.lines();
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0], (Line{LOG_WARNING, "Cannon find the capabilities for version \n"}));
    EXPECT_EQ(lines[4], (Line{LOG_ERR,
                              "Could not initialize the object data stream to camera 1, requred "
                              "version 1.1 supported versions \n"}));
}

TEST_F(SocketCameraTest, EndsForGoodWhenTheFirstConnectFails) {
    server.stopListening();
    begin();
    EXPECT_TRUE(endsInTime());
    camera->join();
    server.listen();
    EXPECT_FALSE(server.hasPending());
    EXPECT_THAT(log.lines(),
                ElementsAre(Line{LOG_ERR, "Could not connect to service, result: -1\n\n"},
                            Line{LOG_ERR, "Invalid scene descriptor: -1\n\n"},
                            Line{LOG_ERR,
                                 "Could not initialize the object data stream to camera 1, requred "
                                 "version  supported versions 1.0 1.1 \n"}));
}

TEST_F(SocketCameraTest, LeavesTheDescriptorOfAFailedFirstConnectOpen) {
    begin();
    ScenePeer peer = server.accept();
    peer.reply("no");
    EXPECT_TRUE(endsInTime());
    camera->join();
    camera.reset();
    EXPECT_TRUE(peer.isOpen());
}

// Scenes

TEST_F(SocketCameraTest, ShowsEachFrameToItsGuards) {
    begin();
    ScenePeer peer = server.acceptAndGrant();
    scene.track(3).enters({0, 0}, {100, 100});
    peer.sendFrame(payloadAt(1s));
    peer.sendFrame(payloadAt(2s));
    EXPECT_TRUE(journal.getsInTime("4: scene 2000000 3@1000000"));
    EXPECT_THAT(journal.take(),
                ElementsAre("4: scene 1000000 3@1000000", "4: scene 2000000 3@1000000"));
    endBy(peer);
}

TEST_F(SocketCameraTest, HandsAFrameThatIsCutOffOnAsAnEmptyScene) {
    begin();
    ScenePeer peer = server.acceptAndGrant();
    scene.track(3).enters({0, 0}, {100, 100});
    const std::string payload = payloadAt(1s);
    peer.sendHead(static_cast<std::int32_t>(payload.size()));
    peer.send(payload.substr(0, payload.size() - 1));
    peer.close();
    EXPECT_TRUE(journal.getsInTime("4: scene 0"));
    EXPECT_TRUE(waitFor([&] { return log.has(lostStream.level, lostStream.text); }));
    EXPECT_THAT(journal.take(), ElementsAre("4: scene 0"));
}

TEST_F(SocketCameraTest, EndsAfterTheNextFrame) {
    begin();
    ScenePeer peer = server.acceptAndGrant();
    endBy(peer);
    EXPECT_FALSE(camera->isRunning());
    peer.waitForClose();
    EXPECT_THAT(log.lines(), IsEmpty());
}

// A lost stream

TEST_F(SocketCameraTest, ConnectsAnewWithTheVersionSettledBefore) {
    begin();
    ScenePeer refused = server.accept();
    refused.reply("1.0 ERROR");
    ScenePeer lost = server.acceptAndGrant("1.0");
    lost.close();
    ScenePeer peer = server.accept();
    EXPECT_EQ(peer.readRequest(), "1.0 OPEN 0 1 1 1\n");
    peer.reply("1.0 OK");
    peer.sendFrame(payloadAt(5s));
    EXPECT_TRUE(journal.getsInTime("4: scene 5000000"));
    endBy(peer);
    EXPECT_THAT(log.lines(), ElementsAre(lostStream));
}

TEST_F(SocketCameraTest, ForgetsItsObjectsWhenTheStreamIsLost) {
    begin();
    ScenePeer lost = server.acceptAndGrant();
    scene.track(3).enters({0, 0}, {100, 100});
    lost.sendFrame(payloadAt(1s));
    lost.close();
    ScenePeer peer = server.acceptAndGrant();
    peer.sendFrame(payloadAt(2s));
    EXPECT_TRUE(journal.getsInTime("4: scene 2000000 3@2000000"));
    endBy(peer);
}

TEST_F(SocketCameraTest, TakesALengthBelowOneAsALostStream) {
    begin();
    ScenePeer lost = server.acceptAndGrant();
    lost.sendHead(0);
    lost.waitForClose();
    ScenePeer peer = server.acceptAndGrant();
    endBy(peer);
    EXPECT_THAT(log.lines(), ElementsAre(lostStream));
}

TEST_F(SocketCameraTest, DoesNotMindARefusalWhenItConnectsAnew) {
    begin();
    server.acceptAndGrant().close();
    ScenePeer peer = server.accept();
    peer.readRequest();
    peer.reply("1.0 ERROR");
    peer.sendFrame(payloadAt(7s));
    EXPECT_TRUE(journal.getsInTime("4: scene 7000000"));
    endBy(peer);
}

TEST_F(SocketCameraTest, TriesForAsLongAsItRuns) {
    begin();
    ScenePeer lost = server.acceptAndGrant();
    server.stopListening();
    lost.close();
    // Twice without anyone there: the second pass begins without a descriptor.
    EXPECT_TRUE(waitFor([&] { return std::ranges::count(log.lines(), lostStream) >= 3; }));
    EXPECT_TRUE(camera->isRunning());
    const std::vector<Line> lines = log.lines();
    const Line noService{LOG_ERR, "Could not connect to service, result: -1\n\n"};
    const Line noDescriptor{LOG_ERR, "Invalid scene descriptor: -1\n\n"};
    EXPECT_THAT(std::vector(lines.begin(), lines.begin() + 7),
                ElementsAre(lostStream, noService, noDescriptor, lostStream, noDescriptor,
                            noService, noDescriptor));
    server.listen();
    ScenePeer peer = server.acceptAndGrant();
    peer.sendFrame(payloadAt(9s));
    EXPECT_TRUE(journal.getsInTime("4: scene 9000000"));
    endBy(peer);
}

TEST_F(SocketCameraTest, WaitsBetweenAttempts) {
    begin();
    ScenePeer lost = server.acceptAndGrant();
    const long before = WatchedDevice::now();
    lost.close();
    server.accept().close();
    EXPECT_GE(WatchedDevice::now() - before, 200000);
}

TEST_F(SocketCameraTest, SurvivesAPeerThatClosesBeforeTheRequest) {
    begin();
    server.acceptAndGrant().close();
    for (int attempt = 0; attempt < 3; ++attempt) {
        server.accept().close();
    }
    EXPECT_TRUE(camera->isRunning());
}

// Together with other threads

TEST_F(SocketCameraTest, SwapsConfigurationsWhileScenesRun) {
    begin();
    ScenePeer peer = server.acceptAndGrant();
    scene.track(3).enters({0, 0}, {100, 100});
    for (int round = 1; round <= 50; ++round) {
        peer.sendFrame(payloadAt(std::chrono::seconds(round)));
        camera->updateWithNewConfiguration(configurationOf(1, {5, 6}));
        camera->handlePTZ_PresetEvent({true, round, round});
        camera->handlePTZ_MovementEvent({false, round});
        camera->enableVisualConfirmation(5, "<g>");
        camera->sendAlarmEvent(6);
        camera->startMotionLevel();
        camera->disableVisualConfirmation(5);
        camera->stopMotionLevel();
    }
    scene.track(3).hides();
    peer.sendFrame(payloadAt(60s));
    EXPECT_TRUE(journal.getsInTime("6: scene 60000000"));
    endBy(peer);
}
