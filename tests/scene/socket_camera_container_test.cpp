#include "scene/socket_camera_container.h"

#include <syslog.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "scene/camera_fixture.h"
#include "support/scene_server.h"
#include "support/wait_for.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class OpenContainer : public SocketCameraContainer {
public:
    using CameraContainer::s_cameras;
    using SocketCameraContainer::SocketCameraContainer;
};

/// An engine that grants every connection and sends frames for as long as it lives.
class BusyEngine {
public:
    BusyEngine(SceneServer& shared, std::string frame)
        : server(shared), payload(std::move(frame)), acceptor([this] { serve(); }) {}
    ~BusyEngine() {
        isOver = true;
        acceptor.join();
        for (std::thread& stream : streams) {
            stream.join();
        }
    }
    BusyEngine(const BusyEngine&) = delete;
    BusyEngine& operator=(const BusyEngine&) = delete;

private:
    void serve() {
        while (!isOver) {
            if (server.hasPending()) {
                streams.emplace_back(
                    [this, peer = server.acceptAndGrant()]() mutable { send(peer); });
            } else {
                std::this_thread::yield();
            }
        }
    }
    void send(ScenePeer& peer) {
        try {
            while (!isOver) {
                peer.sendFrame(payload);
            }
        } catch (const std::runtime_error&) {
            // The camera has gone.
        }
    }

    SceneServer& server;
    const std::string payload;
    std::atomic<bool> isOver{false};
    std::vector<std::thread> streams;
    std::thread acceptor;
};

class SocketContainerTest : public CameraFixture {
protected:
    SocketContainerTest() : container(std::make_unique<OpenContainer>(versions(), 14U)) {}
    ~SocketContainerTest() override {
        server.stopListening();
        container.reset();
    }

    void apply(const std::vector<std::pair<int, std::vector<int>>>& cameras) {
        CameraConfigurationContainer configuration;
        for (const auto& [camera, profiles] : cameras) {
            configuration.insert(configurationOf(camera, profiles));
        }
        container->updateWithNewConfiguration(configuration);
    }
    /// Sends frames until the camera has gone: a thread that is to end sees it after a frame.
    void feedUntilClosed(ScenePeer& peer) {
        try {
            while (peer.isOpen()) {
                peer.sendFrame(payloadAt(1s));
            }
        } catch (const std::runtime_error&) {
            // It went while a frame was on its way.
        }
    }
    static bool isRunning(std::size_t index) {
        return OpenContainer::s_cameras[index]->isRunning();
    }

    SceneServer server;
    std::unique_ptr<OpenContainer> container;
};

}  // namespace

TEST_F(SocketContainerTest, StartsEachNewCamera) {
    apply({{1, {4}}});
    EXPECT_TRUE(isRunning(0));
    ScenePeer first = server.accept();
    EXPECT_EQ(first.readRequest(), "1.1 OPEN 0 1 1 1 1\n");
    first.reply("1.1 OK");
    apply({{1, {5}}, {2, {7}}});
    ScenePeer second = server.accept();
    EXPECT_EQ(second.readRequest(), "1.1 OPEN 0 1 1 1 2\n");
    second.reply("1.1 OK");
    first.sendFrame(payloadAt(1s));
    second.sendFrame(payloadAt(2s));
    EXPECT_TRUE(journal.getsInTime("5: scene 1000000"));
    EXPECT_TRUE(journal.getsInTime("7: scene 2000000"));
}

TEST_F(SocketContainerTest, StopsAndDeletesARemovedCameraAndLeavesTheOtherRunning) {
    apply({{1, {4}}, {2, {7}}});
    ScenePeer peers[] = {ScenePeer(-1), ScenePeer(-1)};
    for (int n = 0; n < 2; ++n) {
        ScenePeer peer = server.accept();
        const std::string request = peer.readRequest();
        peer.reply("1.1 OK");
        peers[request == "1.1 OPEN 0 1 1 1 1\n" ? 0 : 1] = std::move(peer);
    }
    // The join takes as long as the next frame takes to arrive.
    std::thread update([&] { apply({{1, {5}}}); });
    EXPECT_TRUE(journal.getsInTime("5: startup -3"));
    feedUntilClosed(peers[1]);
    update.join();
    EXPECT_TRUE(journal.has("7: deleted"));
    peers[0].sendFrame(payloadAt(2s));
    EXPECT_TRUE(journal.getsInTime("5: scene 2000000"));
    EXPECT_EQ(OpenContainer::s_cameras.size(), 1U);
}

TEST_F(SocketContainerTest, StopsAllCamerasBeforeItJoinsAny) {
    apply({{1, {4}}, {2, {7}}});
    ScenePeer first = server.acceptAndGrant();
    ScenePeer second = server.acceptAndGrant();
    std::thread shutDown([&] { container->shutDown(); });
    EXPECT_TRUE(waitFor([] { return !isRunning(0) && !isRunning(1); }));
    feedUntilClosed(first);
    feedUntilClosed(second);
    shutDown.join();
    EXPECT_EQ(OpenContainer::s_cameras.size(), 2U);
}

TEST_F(SocketContainerTest, KeepsACameraThatCouldNotConnect) {
    server.stopListening();
    apply({{1, {4}}});
    EXPECT_TRUE(waitFor([] { return !isRunning(0); }));
    server.listen();
    apply({{1, {5}}});
    EXPECT_FALSE(server.hasPending());
    EXPECT_EQ(OpenContainer::s_cameras.size(), 1U);
}

TEST_F(SocketContainerTest, ReconfiguresAndAsksWhileScenesRun) {
    scene.track(3).enters({0, 0}, {100, 100});
    const BusyEngine engine(server, payloadAt(1s));
    apply({{1, {4}}, {2, {7}}});
    std::atomic<bool> isOver{false};
    std::thread requests([&] {
        while (!isOver) {
            container->doesProfileExist(7);
            container->sendAlarmEvent(4);
            container->enableVisualConfirmation(4, "<g>");
            container->getVisualConfIdNbr();
            container->isVisualConfEnabled();
            container->disableVisualConfirmation(4);
            container->disableVisualConfirmation();
            container->startMotionLevel();
            container->isMotionLevelActive();
            container->stopMotionLevel();
            container->handlePTZ_PresetEvent({true, 2, 1});
            container->handlePTZ_MovementEvent({false, 1});
        }
    });
    for (int round = 0; round < 20; ++round) {
        apply({{1, {4}}});
        apply({{1, {4, 5}}, {2, {7}}});
    }
    isOver = true;
    requests.join();
    EXPECT_TRUE(journal.getsInTime("5: scene 1000000 3@1000000"));
    container->shutDown();
    container->removeAllCameras();
    EXPECT_FALSE(CameraContainer::hasCameras());
}
