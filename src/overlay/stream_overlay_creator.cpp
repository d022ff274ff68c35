#include "overlay/stream_overlay_creator.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include "app/glib_utils.h"
#include "device/dbus_utils.h"
#include "device/stream_settings.h"
#include "overlay/external_overlay_union.h"
#include "overlay/stream_overlay.h"

namespace {

constexpr const char* kService = "com.orva.Overlay2";
constexpr const char* kNoId = "Failed to call Get for property OverlayId";

/// What a buffer has beside the image.
constexpr int kExtraBytes = 96;

GDBusProxy* createProxy(const std::string& path, const char* interface, const char* failureText) {
    return DBusUtils::createProxy(
        kService, path, interface, failureText,
        static_cast<GDBusProxyFlags>(G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES |
                                     G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS));
}

/// At every rotation that of the height as given: the picture's lower part gets no overlay at 90
/// and 270 degrees. Both margins can be larger than the picture.
int findHeight(const StreamSettings& settings, const ExternalOverlayUnion& margins) {
    const std::int64_t picture = settings.height - settings.height % 16;
    return static_cast<int>(std::max<std::int64_t>(picture - margins.top - margins.bottom, 0));
}

bool canHaveBuffer(int width, int height) {
    constexpr int kLargestImage = std::numeric_limits<int>::max() - kExtraBytes;
    return width > 0 && height > 0 && std::int64_t{width} * height <= kLargestImage;
}

/// With four decimals, whatever the locale.
std::string coordinate(double value) {
    std::array<char, G_ASCII_DTOSTR_BUF_SIZE> text{};
    return g_ascii_formatd(text.data(), static_cast<int>(text.size()), "%.4f", value);
}

/// A floating "(a{ss})".
GVariant* makeProperties(const StreamSettings& settings, int streamId, int width, int height,
                         const ExternalOverlayUnion& externalUnion) {
    const std::string size = std::to_string(width) + "x" + std::to_string(height);
    const std::string position =
        coordinate(-1.0) + "," + coordinate(2.0 * externalUnion.top / settings.height - 1.0);
    const std::string stream = std::to_string(streamId);
    g_auto(GVariantBuilder) properties = G_VARIANT_BUILDER_INIT(G_VARIANT_TYPE("a{ss}"));
    g_variant_builder_add(&properties, "{ss}", "Size", size.c_str());
    g_variant_builder_add(&properties, "{ss}", "Position", position.c_str());
    g_variant_builder_add(&properties, "{ss}", "Visible", "false");
    g_variant_builder_add(&properties, "{ss}", "OverlayFormat", "palette");
    g_variant_builder_add(&properties, "{ss}", "Stream", stream.c_str());
    g_variant_builder_add(&properties, "{ss}", "Camera", "1");
    return g_variant_new("(a{ss})", &properties);
}

/// Throws std::runtime_error when the reply is of another type.
void checkType(GVariant* reply, const char* type, const std::string& failureText) {
    const bool isRight = g_variant_is_of_type(reply, G_VARIANT_TYPE(type)) != FALSE;
    GlibUtils::throwIfNull(isRight ? reply : nullptr, failureText);
}

int getOverlayId(const std::string& objectPath) {
    g_autoptr(GDBusProxy) proxy = createProxy(objectPath, "org.freedesktop.DBus.Properties",
                                              "Failed to create DBus proxy to get OverlayId");
    g_autoptr(GVariant) reply = DBusUtils::callSync(
        proxy, "Get", g_variant_new("(ss)", "com.orva.Overlay2.Overlay", "OverlayId"), kNoId, true);
    checkType(reply, "(v)", kNoId);
    g_autoptr(GVariant) value = nullptr;
    g_variant_get(reply, "(v)", &value);
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_UINT32) != FALSE) {
        return static_cast<int>(g_variant_get_uint32(value));
    }
    checkType(value, "i", kNoId);
    return g_variant_get_int32(value);
}

}  // namespace

StreamOverlayCreator::StreamOverlayCreator()
    : factory(createProxy("/com/orva/Overlay2", "com.orva.Overlay2.Factory",
                          "Failed to create overlay factory proxy")) {}

StreamOverlayCreator::~StreamOverlayCreator() {
    g_object_unref(factory);
}

StreamOverlay* StreamOverlayCreator::createStreamOverlay(
    const StreamSettings& settings, int streamId, const ExternalOverlayUnion& externalUnion) {
    const int width = settings.getRotationAndMacroBlockCorrectedWidth();
    const int height = findHeight(settings, externalUnion);
    if (!canHaveBuffer(width, height)) {
        return new StreamOverlay(streamId);
    }
    const std::string path =
        createOverlay(makeProperties(settings, streamId, width, height, externalUnion));
    try {
        return new StreamOverlay(streamId, getOverlayId(path), width * height / 2 + kExtraBytes,
                                 width, height, externalUnion, path);
    } catch (const std::runtime_error&) {
        removeOverlay(path);
        throw;
    }
}

std::string StreamOverlayCreator::createOverlay(GVariant* properties) {
    constexpr const char* kFailure = "Failed to create overlay";
    g_autoptr(GVariant) reply =
        DBusUtils::callSync(factory, "CreateOverlay", properties, kFailure, true);
    checkType(reply, "(o)", kFailure);
    const char* path = nullptr;
    g_variant_get(reply, "(&o)", &path);
    return path;
}

void StreamOverlayCreator::removeOverlay(const std::string& objectPath) {
    try {
        g_autoptr(GVariant) reply =
            DBusUtils::callSync(factory, "RemoveOverlay", g_variant_new("(o)", objectPath.c_str()),
                                "Failed to remove overlay", false);
    } catch (const std::runtime_error& failure) {
        syslog(LOG_WARNING, "Failed to unregister a streamOverlay: %s\n", failure.what());
    }
}

void StreamOverlayCreator::unregister(const StreamOverlay& overlay) {
    if (overlay.isCreated()) {
        removeOverlay(overlay.getObjectPath());
    }
}
