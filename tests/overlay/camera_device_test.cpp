#include "overlay/camera_device.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "support/failure_of.h"
#include "support/overlay_device.h"
#include "support/syslog_capture.h"
#include "support/temporary_folder.h"
#include "support/wait_for.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kNote = "Failed to use OpenCameraDevice, using 'open /dev/cam0' fallback : ";

/// The number of a descriptor's file; the descriptor is closed.
ino_t fileOf(int descriptor) {
    struct stat status {};
    EXPECT_EQ(fstat(descriptor, &status), 0);
    close(descriptor);
    return status.st_ino;
}

class CameraDeviceTest : public testing::Test {
protected:
    /// What the device hands out is no camera device: the node is opened, with this note.
    void expectFallback(const std::string& note) {
        log.clear();
        const std::string node = folder.write("cam0", "");
        const int opened = CameraDevice::open(node.c_str());
        EXPECT_EQ(fcntl(opened, F_GETFL) & O_ACCMODE, O_RDWR);
        EXPECT_EQ(fcntl(opened, F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(fileOf(opened), fileOf(open(node.c_str(), O_RDONLY)));
        EXPECT_THAT(log.lines(), ElementsAre(SyslogCapture::Line{LOG_INFO, kNote + note}));
    }

    PrivateBus bus;
    OverlayDevice device{bus};
    SyslogCapture log;
    TemporaryFolder folder;
};

TEST_F(CameraDeviceTest, IsHandedOutByTheGraphicsService) {
    const int memory = OverlayDevice::makeMemory(4096, F_SEAL_SHRINK);
    const int copy = dup(memory);
    device.handOut("OpenCameraDevice", memory);
    EXPECT_EQ(fileOf(CameraDevice::open()), fileOf(copy));
    EXPECT_THAT(device.calls(), ElementsAre("OpenCameraDevice /com/orva/Graphics1 ()"));
    EXPECT_THAT(device.interfaces(), ElementsAre("com.orva.Graphics1.Overlay"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CameraDeviceTest, MayBeADeviceNode) {
    device.handOut("OpenCameraDevice", open("/dev/zero", O_RDWR | O_CLOEXEC));
    EXPECT_EQ(fileOf(CameraDevice::open()), fileOf(open("/dev/zero", O_RDONLY)));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CameraDeviceTest, IsTheNodeWhenTheServiceFails) {
    device.failAt(1);
    expectFallback(
        "Failed to get CameraDevice file descriptor: Failed to get command channel: "
        "GDBus.Error:com.orva.Error: told to\n\n");
}

TEST_F(CameraDeviceTest, IsTheNodeWhenTheServiceHandsNothingOut) {
    device.answer("OpenCameraDevice", [] { return g_variant_new("(h)", 0); });
    expectFallback("Failed to get CameraDevice file descriptor: Invalid file descriptor\n");
}

TEST_F(CameraDeviceTest, IsTheNodeWhenTheServiceHandsOutMemoryThatCanShrink) {
    const std::string note = "Failed to get CameraDevice file descriptor: Not a camera device\n";
    device.handOut("OpenCameraDevice", OverlayDevice::makeMemory(4096, F_SEAL_GROW));
    expectFallback(note);
    device.handOut("OpenCameraDevice", open(folder.write("file", "").c_str(), O_RDWR | O_CLOEXEC));
    expectFallback(note);
}

TEST_F(CameraDeviceTest, IsTheNodeWhenTheServiceHandsOutAnotherKindOfFile) {
    device.handOut("OpenCameraDevice", socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    expectFallback("Failed to get CameraDevice file descriptor: Not a camera device\n");
}

TEST_F(CameraDeviceTest, ClosesWhatIsNoCameraDevice) {
    std::array<int, 2> ends{};
    socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data());
    device.handOut("OpenCameraDevice", ends[1]);
    expectFallback("Failed to get CameraDevice file descriptor: Not a camera device\n");
    device.handOut("OpenCameraDevice", OverlayDevice::makeMemory(4096, F_SEAL_SHRINK));
    char byte = 0;
    EXPECT_TRUE(waitFor([&] { return recv(ends[0], &byte, 1, MSG_DONTWAIT) == 0; }));
    close(ends[0]);
}

TEST_F(CameraDeviceTest, FailsWithoutServiceAndNode) {
    bus.stop();
    EXPECT_EQ(failureOf([this] { CameraDevice::open(folder.path("none").c_str()); }),
              "Failed to open CameraDevice file descriptor");
    EXPECT_THAT(log.texts(), ElementsAre(StartsWith(std::string(kNote) +
                                                    "Failed to create overlay graphics proxy: ")));
}

TEST(CameraDeviceMapping, NeedsAFileThatCannotShrink) {
    const auto errorWith = [](int seals) {
        const int memory = OverlayDevice::makeMemory(8192, seals);
        const int error = CameraDevice::findMappingError(memory, 4096, 0);
        close(memory);
        return error;
    };
    EXPECT_EQ(errorWith(F_SEAL_SHRINK), 0);
    EXPECT_EQ(errorWith(F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL), 0);
    EXPECT_EQ(errorWith(F_SEAL_GROW), EPERM);
    EXPECT_EQ(errorWith(0), EPERM);
}

TEST(CameraDeviceMapping, NeedsAFileThatHoldsTheWholeBuffer) {
    const int memory = OverlayDevice::makeMemory(8192, F_SEAL_SHRINK);
    EXPECT_EQ(CameraDevice::findMappingError(memory, 8192, 0), 0);
    EXPECT_EQ(CameraDevice::findMappingError(memory, 8193, 0), ENXIO);
    EXPECT_EQ(CameraDevice::findMappingError(memory, 4096, 4096), 0);
    EXPECT_EQ(CameraDevice::findMappingError(memory, 4097, 4096), ENXIO);
    EXPECT_EQ(CameraDevice::findMappingError(memory, 2147483647, 2147483647), ENXIO);
    EXPECT_EQ(CameraDevice::findMappingError(memory, -1, 0), EINVAL);
    EXPECT_EQ(CameraDevice::findMappingError(memory, 4096, -4096), EINVAL);
    ASSERT_EQ(ftruncate(memory, 12288), 0);
    EXPECT_EQ(CameraDevice::findMappingError(memory, 8193, 0), 0);
    close(memory);
}

TEST(CameraDeviceMapping, NeedsAFileOrADeviceNode) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    EXPECT_EQ(CameraDevice::findMappingError(ends[0], 4096, 0), ENODEV);
    close(ends[0]);
    close(ends[1]);
    EXPECT_EQ(CameraDevice::findMappingError(-1, 4096, 0), EBADF);
    const int node = open("/dev/zero", O_RDWR | O_CLOEXEC);
    EXPECT_EQ(CameraDevice::findMappingError(node, 2147483647, 2147483647), 0);
    close(node);
}

}  // namespace
