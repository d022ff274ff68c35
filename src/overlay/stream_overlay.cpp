#include "overlay/stream_overlay.h"

#include <cstring>

#include "app/status.h"
#include "device/dbus_utils.h"
#include "overlay/camera_device.h"
#include "overlay/command_channel_handler.h"
#include "overlay/mapped_memory.h"

namespace {

/// Bytes before the image, which are the service's.
constexpr int kHeaderSize = 64;

std::string makeRequest(const std::string& method, const std::string& params) {
    return R"({"apiVersion": "1.0", "method": ")" + method + R"(", "context": "", "params": {)" +
           params + "}}";
}

std::string overlayParam(int overlayId) {
    return R"("overlayId": )" + std::to_string(overlayId);
}

}  // namespace

StreamOverlay::StreamOverlay(int stream) : streamId(stream) {}

StreamOverlay::StreamOverlay(int stream, int overlay, int size, int overlayWidth, int overlayHeight,
                             const ExternalOverlayUnion& margins, const std::string& path)
    : streamId(stream),
      overlayId(overlay),
      bufferSize(size),
      width(overlayWidth),
      height(overlayHeight),
      objectPath(path),
      getBufferRequest(makeRequest("getBuffer", overlayParam(overlay))),
      externalUnion(margins),
      created(true) {}

StreamOverlay::~StreamOverlay() {
    g_clear_object(&overlayProxy);
}

void StreamOverlay::setupBuffer(int cameraDevice, CommandChannelHandler& channel) {
    if (!created) {
        return;
    }
    bufferHandle = channel.getBufferHandle(getBufferRequest);
    utils::throwIf(bufferHandle < 0, "Failed to get buffer handle");
    const int error = CameraDevice::findMappingError(cameraDevice, bufferSize, bufferHandle);
    utils::throwIf(error != 0, "Failed to mmap buffer handle: " + std::to_string(error));
    memory.reset();
    memory = std::make_unique<MappedMemory>(bufferSize, cameraDevice, bufferHandle);
}

void StreamOverlay::submitBuffer(CommandChannelHandler& channel) {
    if (!created) {
        return;
    }
    channel.submitBuffer(makeRequest("submitBuffer", overlayParam(overlayId) + R"(, "buffer": )" +
                                                         std::to_string(bufferHandle)));
    setVisible();
}

void StreamOverlay::insertData(const unsigned char* image, bool isChanged) {
    insertImage(image, isChanged);
}

void StreamOverlay::copyDataFromStreamOverlay(const StreamOverlay& other, bool isChanged) {
    const unsigned char* memoryThere = other.getImageOverlayMemory();
    const bool isSameSize = other.width == width && other.height == height;
    insertImage(memoryThere != nullptr && isSameSize ? memoryThere + kHeaderSize : nullptr,
                isChanged);
}

void StreamOverlay::insertImage(const unsigned char* image, bool isChanged) {
    ++frameCount;
    if (!created || memory == nullptr) {
        return;
    }
    const bool isAlreadyBlank = !isChanged && !dirty && visible;
    if (!isAlreadyBlank && image != nullptr) {
        std::memcpy(getImageOverlayMemory() + kHeaderSize, image,
                    static_cast<std::size_t>(width) * static_cast<std::size_t>(height) / 2);
    }
    dirty = isChanged;
}

void StreamOverlay::setVisible() {
    if (overlayProxy == nullptr) {
        overlayProxy = DBusUtils::createProxy(
            "com.orva.Overlay2", objectPath, "com.orva.Overlay2.Overlay",
            "Failed to create proxy for setVisible",
            static_cast<GDBusProxyFlags>(G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES |
                                         G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS));
    }
    g_auto(GVariantBuilder) properties = G_VARIANT_BUILDER_INIT(G_VARIANT_TYPE("a{ss}"));
    g_variant_builder_add(&properties, "{ss}", "Visible", "true");
    g_autoptr(GVariant) reply =
        DBusUtils::callSync(overlayProxy, "SetProperties", g_variant_new("(a{ss})", &properties),
                            "Failed to set visibility for overlay", false);
    visible = true;
}

unsigned char* StreamOverlay::getImageOverlayMemory() const {
    return memory == nullptr ? nullptr : static_cast<unsigned char*>(memory->getPointer());
}
