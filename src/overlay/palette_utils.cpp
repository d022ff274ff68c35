#include "overlay/palette_utils.h"

#include <syslog.h>

#include <array>
#include <stdexcept>
#include <string>

#include "device/dbus_utils.h"

namespace {

struct Color {
    int index;
    guint8 red;
    guint8 alpha;
};

constexpr std::array<Color, 4> kColors = {{{0, 0, 0}, {5, 0, 0}, {1, 255, 155}, {4, 255, 155}}};

void setColor(const Color& color) {
    g_autoptr(GDBusProxy) proxy = DBusUtils::createProxy(
        "com.orva.Overlay2", "/com/orva/Overlay2/PaletteColor/" + std::to_string(color.index),
        "com.orva.Overlay2.PaletteColor", "Failed to create DBus proxy to set palette colors",
        static_cast<GDBusProxyFlags>(G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES |
                                     G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS));
    GVariant* parameters = g_variant_new("(yyyyb)", color.red, 0, 0, color.alpha, FALSE);
    g_autoptr(GVariant) reply =
        DBusUtils::callSync(proxy, "SetColor", parameters, "DBus call to SetColor failed", false);
}

}  // namespace

bool PaletteUtils::setCustomPaletteValues() {
    try {
        for (const Color& color : kColors) {
            setColor(color);
        }
        return true;
    } catch (const std::runtime_error& failure) {
        syslog(LOG_WARNING, "Failed to set custom palette color: %s\n", failure.what());
        return false;
    }
}
