#include "scene/camera_configuration.h"

#include <gmock/gmock.h>

#include <memory>

#include "geometry/polygon.h"
#include "guard/area_guard.h"
#include "scene/socket_camera.h"
#include "support/state_event_recorder.h"
#include "support/watched_device.h"

namespace {

class CameraConfigurationTest : public testing::Test {
protected:
    std::unique_ptr<AreaGuard> makeGuard(int profile) {
        return std::make_unique<AreaGuard>(Polygon(0, 1, 0, 1), "Door", profile, 1, 0, "KTW 4",
                                           events, Guard::anyPosition);
    }

    WatchedDevice device;
    StateEventRecorder events;
    CameraConfiguration configuration{2, 90};
};

}  // namespace

TEST_F(CameraConfigurationTest, HoldsItsNumbers) {
    EXPECT_EQ(configuration.getId(), 2);
    EXPECT_EQ(configuration.getRotation(), 90);
    EXPECT_TRUE(configuration.getGuards().empty());
}

TEST_F(CameraConfigurationTest, KeepsGuardsInOrderAndIgnoresNull) {
    const auto first = makeGuard(5);
    const auto second = makeGuard(3);
    configuration.insertGuard(first.get());
    configuration.insertGuard(nullptr);
    configuration.insertGuard(second.get());
    EXPECT_THAT(configuration.getGuards(), testing::ElementsAre(first.get(), second.get()));
}

TEST_F(CameraConfigurationTest, FindsAGuardByItsProfile) {
    const auto guard = makeGuard(5);
    configuration.insertGuard(guard.get());
    EXPECT_EQ(configuration.getGuard(5), guard.get());
    EXPECT_EQ(configuration.getGuard(6), nullptr);
}

TEST_F(CameraConfigurationTest, EqualsAnotherOfTheSameIdAndRotation) {
    EXPECT_TRUE(configuration == CameraConfiguration(2, 90));
    EXPECT_FALSE(configuration == CameraConfiguration(2, 0));
    EXPECT_FALSE(configuration == CameraConfiguration(1, 90));
}

TEST_F(CameraConfigurationTest, EqualsItsId) {
    EXPECT_TRUE(configuration == 2);
    EXPECT_FALSE(configuration == 90);
}

TEST_F(CameraConfigurationTest, EqualsTheCameraOfItsIdFromEitherSide) {
    const SocketCamera camera(2, 0, {}, 0);
    const SocketCamera other(1, 90, {}, 0);
    EXPECT_TRUE(configuration == &camera);
    EXPECT_TRUE(&camera == configuration);
    EXPECT_FALSE(configuration == &other);
    EXPECT_FALSE(&other == configuration);
}
