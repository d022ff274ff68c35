#include "overlay/camera_device.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <stdexcept>

#include "app/status.h"
#include "device/dbus_utils.h"

namespace {

constexpr const char* kNoDescriptor = "Failed to get CameraDevice file descriptor";

int findErrorOfFile(int descriptor, std::int64_t size, std::int64_t end) {
    const int seals = fcntl(descriptor, F_GET_SEALS);
    if (seals < 0 || (seals & F_SEAL_SHRINK) == 0) {
        return EPERM;
    }
    return end > size ? ENXIO : 0;
}

/// Throws std::runtime_error without a descriptor that buffers can be mapped from.
int openThroughService() {
    g_autoptr(GDBusProxy) proxy = DBusUtils::createProxy(
        "com.orva.Graphics1", "/com/orva/Graphics1", "com.orva.Graphics1.Overlay",
        "Failed to create overlay graphics proxy",
        static_cast<GDBusProxyFlags>(G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES |
                                     G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS));
    const int descriptor = DBusUtils::getFileDescriptor(proxy, "OpenCameraDevice", kNoDescriptor);
    if (CameraDevice::findMappingError(descriptor, 0, 0) != 0) {
        close(descriptor);
        throw std::runtime_error(std::string(kNoDescriptor) + ": Not a camera device");
    }
    return descriptor;
}

}  // namespace

int CameraDevice::findMappingError(int descriptor, int length, int offset) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        return errno;
    }
    if (length < 0 || offset < 0) {
        return EINVAL;
    }
    if (S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode)) {
        return 0;
    }
    if (!S_ISREG(status.st_mode)) {
        return ENODEV;
    }
    return findErrorOfFile(descriptor, status.st_size, std::int64_t{offset} + length);
}

int CameraDevice::open(const char* deviceNode) {
    try {
        return openThroughService();
    } catch (const std::runtime_error& failure) {
        syslog(LOG_INFO, "Failed to use OpenCameraDevice, using 'open /dev/cam0' fallback : %s\n",
               failure.what());
    }
    const int descriptor = ::open(deviceNode, O_RDWR | O_CLOEXEC);
    utils::throwIf(descriptor < 0, "Failed to open CameraDevice file descriptor");
    return descriptor;
}
