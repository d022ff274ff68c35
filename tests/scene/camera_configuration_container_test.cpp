#include "scene/camera_configuration_container.h"

#include <gmock/gmock.h>
#include <syslog.h>

#include "support/syslog_capture.h"

TEST(CameraConfigurationContainer, FindsItsEntriesById) {
    CameraConfigurationContainer container;
    container.insert(CameraConfiguration(1, 0));
    container.insert(CameraConfiguration(2, 90));
    EXPECT_EQ(container.getConfiguration(2)->getRotation(), 90);
    EXPECT_EQ(container.getConfiguration(3), nullptr);
    const CameraConfigurationContainer& constant = container;
    EXPECT_EQ(constant.getConfiguration(1), &container.getConfigurations()[0]);
    EXPECT_EQ(constant.getConfiguration(3), nullptr);
}

TEST(CameraConfigurationContainer, LogsAndRefusesASecondEntryOfTheSameIdAndRotation) {
    CameraConfigurationContainer container;
    container.insert(CameraConfiguration(2, 90));
    const SyslogCapture log;
    container.insert(CameraConfiguration(2, 90));
    EXPECT_EQ(container.getConfigurations().size(), 1U);
    EXPECT_THAT(
        log.lines(),
        testing::ElementsAre(SyslogCapture::Line{
            LOG_WARNING,
            "Cannot insert duplicate configs in a CameraConfigurationContainer, camera nbr = 2 "
            "camera rotation = 90\n"}));
}

TEST(CameraConfigurationContainer, TakesTheSameIdWithAnotherRotation) {
    CameraConfigurationContainer container;
    const SyslogCapture log;
    container.insert(CameraConfiguration(2, 90));
    container.insert(CameraConfiguration(2, 0));
    EXPECT_EQ(container.getConfigurations().size(), 2U);
    EXPECT_EQ(container.getConfiguration(2)->getRotation(), 90);
    EXPECT_TRUE(log.lines().empty());
}

TEST(CameraConfigurationContainer, CarriesWhatTheOverlayNeeds) {
    AlarmOverlayConfigurationContainer overlay;
    overlay.profileIds = {4, 7};
    const CameraConfigurationContainer container(overlay);
    EXPECT_THAT(container.getAlarmOverlayConfiguration().profileIds, testing::ElementsAre(4, 7));
    EXPECT_TRUE(CameraConfigurationContainer().getAlarmOverlayConfiguration().profileIds.empty());
}
