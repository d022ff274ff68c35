#include "overlay/alarm_overlay_utils.h"

#include <glib.h>
#include <syslog.h>

#include <limits>
#include <memory>
#include <string>
#include <string_view>

#include "app/maybe.h"
#include "overlay/decimal_text.h"
#include "overlay/external_overlay.h"
#include "overlay/overlay_properties.h"
#include "overlay/stream_properties.h"

namespace {

struct Size {
    int width = 0;
    int height = 0;
};

GVariant* lookUp(GVariant* dictionary, const char* key, const GVariantType* type) {
    const bool isDictionary =
        dictionary != nullptr && g_variant_is_of_type(dictionary, G_VARIANT_TYPE_VARDICT) != FALSE;
    return isDictionary ? g_variant_lookup_value(dictionary, key, type) : nullptr;
}

Maybe<std::string> readText(GVariant* dictionary, const char* key) {
    g_autoptr(GVariant) value = lookUp(dictionary, key, G_VARIANT_TYPE_STRING);
    return value == nullptr ? Maybe<std::string>()
                            : Maybe<std::string>(g_variant_get_string(value, nullptr));
}

Maybe<int> readUnsigned(GVariant* dictionary, const char* key) {
    g_autoptr(GVariant) value = lookUp(dictionary, key, G_VARIANT_TYPE_UINT32);
    const guint32 number = value == nullptr ? G_MAXUINT32 : g_variant_get_uint32(value);
    const bool fits = number <= static_cast<guint32>(std::numeric_limits<int>::max());
    return fits ? Maybe<int>(static_cast<int>(number)) : Maybe<int>();
}

Maybe<int> readInteger(GVariant* dictionary, const char* key) {
    g_autoptr(GVariant) value = lookUp(dictionary, key, G_VARIANT_TYPE_INT32);
    return value == nullptr ? readUnsigned(dictionary, key)
                            : Maybe<int>(g_variant_get_int32(value));
}

Maybe<bool> readBoolean(GVariant* dictionary, const char* key) {
    g_autoptr(GVariant) value = lookUp(dictionary, key, G_VARIANT_TYPE_BOOLEAN);
    return value == nullptr ? Maybe<bool>() : Maybe<bool>(g_variant_get_boolean(value) != FALSE);
}

Maybe<Size> parseSize(const std::string& text) {
    const std::size_t separator = text.find('x');
    if (separator != std::string::npos) {
        const std::string_view view = text;
        const Maybe<int> width = utils::parseDecimal(view.substr(0, separator));
        const Maybe<int> height = utils::parseDecimal(view.substr(separator + 1));
        if (width.hasValue() && height.hasValue()) {
            return Maybe<Size>({width.get(), height.get()});
        }
    }
    syslog(LOG_INFO, "Failed to parse %s\n", text.c_str());
    return {};
}

Maybe<Size> readSize(GVariant* dictionary, const char* key) {
    const Maybe<std::string> text = readText(dictionary, key);
    return text.hasValue() ? parseSize(text.get()) : Maybe<Size>();
}

Maybe<int> readDecimal(GVariant* dictionary, const char* key) {
    return utils::parseDecimal(readText(dictionary, key).get());
}

ExternalOverlayType_e findType(const std::string& text) {
    if (text == "textoverlay") {
        return ExternalOverlayText;
    }
    return text == "imageoverlay" ? ExternalOverlayImage : ExternalOverlayOther;
}

template <typename... Values>
bool areAllThere(const Maybe<Values>&... values) {
    return (values.hasValue() && ...);
}

}  // namespace

StreamProperties* AlarmOverlay::Utils::createStreamProperties(GVariant* dictionary) {
    const Maybe<int> id = readDecimal(dictionary, "Stream");
    const Maybe<int> camera = readInteger(dictionary, "Camera");
    const Maybe<std::string> type = readText(dictionary, "Type");
    const Maybe<Size> size = readSize(dictionary, "Resolution");
    const Maybe<int> rotation = readInteger(dictionary, "Rotation");
    const Maybe<bool> mirrored = readBoolean(dictionary, "MirrorEnabled");
    if (!areAllThere(id, camera, type, size, rotation, mirrored)) {
        syslog(LOG_WARNING, "Could not create stream properties, missing mandatory value\n");
        return nullptr;
    }
    return new StreamProperties{.id = id.get(),
                                .camera = camera.get(),
                                .type = type.get(),
                                .width = size.get().width,
                                .height = size.get().height,
                                .rotation = rotation.get(),
                                .mirrored = mirrored.get()};
}

ExternalOverlay* AlarmOverlay::Utils::createExternalOverlay(GVariant* dictionary) {
    const Maybe<int> camera = readInteger(dictionary, "Camera");
    const Maybe<std::string> type = readText(dictionary, "OverlayType");
    const Maybe<int> id = readInteger(dictionary, "OverlayId");
    const Maybe<std::string> position = readText(dictionary, "Position");
    const Maybe<Size> size = readSize(dictionary, "Size");
    const Maybe<bool> scalable = readBoolean(dictionary, "Scalable");
    if (!areAllThere(camera, type, id, position, size, scalable)) {
        syslog(LOG_WARNING, "Could not create overlay area object, missing mandatory value\n");
        return nullptr;
    }
    auto overlay = std::make_unique<ExternalOverlay>();
    overlay->overlayId = id.get();
    overlay->type = findType(type.get());
    overlay->isScalable = scalable.get();
    overlay->setProperties(
        {.id = id.get(), .height = std::to_string(size.get().height), .position = position.get()});
    return overlay.release();
}
