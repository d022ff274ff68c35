#include "events/event_nice_name.h"

#include <gtest/gtest.h>

#include "support/syslog_capture.h"
#include "support/wrapped_device.h"

namespace {

TEST(EventNiceName, NamesNoCameraOnADeviceWithOne) {
    const WrappedDevice device;
    EXPECT_EQ(utils::generateEventNiceName("KTW 4", "My door", 1), "KTW 4: My door");
}

TEST(EventNiceName, NamesTheCameraOnADeviceWithSeveral) {
    const WrappedDevice device(WrappedDevice::twoCameras());
    EXPECT_EQ(utils::generateEventNiceName("KTW 4", "My door", 2), "KTW 4: My door (Back)");
}

TEST(EventNiceName, NamesNoCameraBelowOne) {
    const WrappedDevice device(WrappedDevice::twoCameras());
    EXPECT_EQ(utils::generateEventNiceName("KTW 4", "Any Camera", 0), "KTW 4: Any Camera");
    EXPECT_EQ(utils::generateEventNiceName("KTW 4", "Any Camera", -1), "KTW 4: Any Camera");
}

TEST(EventNiceName, HasAnEmptyNameForACameraThatIsNotThere) {
    const WrappedDevice device(WrappedDevice::twoCameras());
    const SyslogCapture log;
    EXPECT_EQ(utils::generateEventNiceName("KTW 4", "My door", 3), "KTW 4: My door ()");
    EXPECT_TRUE(log.has(LOG_WARNING, "Invalid input. Camera number 3 is not valid.\n"));
}

}  // namespace
