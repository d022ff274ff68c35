#include "overlay/overlay_services.h"

#include <gio/gio.h>
#include <syslog.h>

#include <exception>
#include <optional>

#include "device/dbus_utils.h"

namespace {

constexpr const char* kBus = "org.freedesktop.DBus";
constexpr const char* kBusPath = "/org/freedesktop/DBus";

GMutex mutex;
/// Guarded by mutex.
std::optional<bool> kept;

bool areServicesOnBus() {
    try {
        g_autoptr(GDBusProxy) proxy = DBusUtils::createProxy(
            kBus, kBusPath, kBus, "Failed to create proxy for ListNames", G_DBUS_PROXY_FLAGS_NONE);
        g_autoptr(GVariant) reply =
            DBusUtils::callSync(proxy, "ListNames", nullptr, "DBus ListNames call failed", true);
        g_autofree const char** names = nullptr;
        g_variant_get(reply, "(^a&s)", &names);
        return g_strv_contains(names, "com.orva.Graphics1") != FALSE &&
               g_strv_contains(names, "com.orva.Overlay2") != FALSE;
    } catch (const std::exception& failure) {
        syslog(LOG_WARNING, "%s\n", failure.what());
        return false;
    }
}

}  // namespace

bool AlarmOverlay::doDBusNamesExist() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    if (!kept.has_value()) {
        kept = areServicesOnBus();
    }
    return *kept;
}

void AlarmOverlay::forgetDBusNames() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    kept.reset();
}
