#include "scene/camera_container_factory.h"

#include <syslog.h>
#include <unistd.h>

#include <memory>
#include <thread>

#include "scene/callback_camera_container.h"
#include "scene/camera_fixture.h"
#include "scene/socket_camera_container.h"
#include "scene/video_scene_subscriber.h"
#include "support/scene_server.h"
#include "support/subscriber_module/named_subscriber_module.h"
#include "support/syslog_capture.h"
#include "support/temporary_folder.h"
#include "support/wait_for.h"

namespace {

class FactoryTest : public CameraFixture {
protected:
    static void setPlatformVersion(const std::string& version) {
        ZQParameterDouble::set("root.Properties.EmbeddedDevelopment.Version", version);
        CameraInfoTestAccess::forget();
    }
    std::unique_ptr<CameraContainer> create() {
        return std::unique_ptr<CameraContainer>(CameraContainerFactory::create(versions(), 14));
    }
    void expectSocket(const std::string& version) {
        setPlatformVersion(version);
        const SceneServer server;
        const auto container = create();
        EXPECT_NE(dynamic_cast<SocketCameraContainer*>(container.get()), nullptr) << version;
    }
    void expectModule(const std::string& version) {
        setPlatformVersion(version);
        const NamedSubscriberModule module;
        const auto container = create();
        EXPECT_NE(dynamic_cast<CallbackCameraContainer*>(container.get()), nullptr) << version;
        VideoSceneSubscriber::deinitialize();
    }
};

}  // namespace

TEST_F(FactoryTest, ChoosesTheSocketBelowPlatformVersion2_15) {
    expectSocket("2.14");
    expectSocket("1.99");
    expectSocket("0.0");
}

TEST_F(FactoryTest, ChoosesTheSocketOnAPlatformWithoutAVersion) {
    expectSocket("");
}

TEST_F(FactoryTest, ChoosesTheModuleFromPlatformVersion2_15On) {
    expectModule("2.15");
    expectModule("2.16");
    expectModule("3.0");
}

TEST_F(FactoryTest, ClosesTheConnectionItTriedTheSocketWith) {
    setPlatformVersion("2.14");
    SceneServer server;
    const auto container = create();
    server.accept().waitForClose();
    EXPECT_FALSE(server.hasPending());
}

TEST_F(FactoryTest, WaitsForTheSocket) {
    setPlatformVersion("2.14");
    SceneServer server;
    server.stopListening();
    const SyslogCapture log;
    std::unique_ptr<CameraContainer> container;
    std::thread creation([&] { container = create(); });
    EXPECT_TRUE(waitFor([&] { return log.lines().size() >= 3; }));
    server.listen();
    creation.join();
    EXPECT_NE(container, nullptr);
    EXPECT_TRUE(log.has(LOG_ERR, "Could not connect to service, result: -1\n\n"));
}

TEST_F(FactoryTest, WaitsForTheModule) {
    setPlatformVersion("2.15");
    const TemporaryFolder folder;
    const NamedSubscriberModule module(folder.path("module.so"));
    const SyslogCapture log;
    std::unique_ptr<CameraContainer> container;
    std::thread creation([&] { container = create(); });
    EXPECT_TRUE(waitFor([&] { return log.lines().size() >= 4; }));
    ASSERT_EQ(symlink(NamedSubscriberModule::path().c_str(), VideoSceneSubscriber::moduleName), 0);
    creation.join();
    EXPECT_NE(dynamic_cast<CallbackCameraContainer*>(container.get()), nullptr);
    EXPECT_TRUE(log.has(LOG_WARNING,
                        "Failed to load video_scene_subsriber. Could not open "
                        "video_scene_subscriber module\n"));
    VideoSceneSubscriber::deinitialize();
}

TEST_F(FactoryTest, GivesTheContainerVersionsAndCapabilities) {
    setPlatformVersion("2.14");
    SceneServer server;
    const auto container = create();
    server.accept();
    CameraConfigurationContainer configuration;
    configuration.insert(configurationOf(1, {4}));
    container->updateWithNewConfiguration(configuration);
    ScenePeer peer = server.accept();
    EXPECT_EQ(peer.readRequest(), "1.1 OPEN 0 1 1 1 1\n");
    peer.reply("1.1 OK");
    peer.close();
    server.stopListening();
}
