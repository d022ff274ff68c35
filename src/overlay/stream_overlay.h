#pragma once

#include <gio/gio.h>

#include <memory>
#include <string>

#include "overlay/external_overlay_union.h"

class CommandChannelHandler;
class MappedMemory;

/// The overlay of one video stream: a band of palette pixels, two to a byte, in a buffer that the
/// service hands out for each frame and takes back.
///
/// A placeholder stands for a stream whose overlay is still to be made: it counts frames and does
/// nothing else. All failures are std::runtime_error. One thread at a time.
class StreamOverlay {
public:
    /// A placeholder.
    explicit StreamOverlay(int streamId);
    /// An overlay that the service has made, of width by height pixels in buffers of `bufferSize`
    /// bytes, between the margins of the union.
    StreamOverlay(int streamId, int overlayId, int bufferSize, int width, int height,
                  const ExternalOverlayUnion& externalUnion, const std::string& objectPath);
    /// Unmaps the buffer; the overlay stays with the service.
    ~StreamOverlay();
    StreamOverlay(const StreamOverlay&) = delete;
    StreamOverlay& operator=(const StreamOverlay&) = delete;

    /// Asks for a buffer and maps it from the camera device, in the place of the one before.
    void setupBuffer(int cameraDevice, CommandChannelHandler& channel);
    /// Gives the buffer back to be shown, and lets the overlay be visible.
    void submitBuffer(CommandChannelHandler& channel);

    /// Copies an image into the buffer and counts the frame. An image that is as blank as the
    /// buffers are already is not copied; `isChanged` tells whether it may be another.
    void insertData(const unsigned char* image, bool isChanged);
    /// The same with the image of another overlay of the same size; one that has none leaves the
    /// buffer as it is.
    void copyDataFromStreamOverlay(const StreamOverlay& other, bool isChanged);

    /// Lets the service show the overlay.
    void setVisible();

    /// The buffer, with the service's header before the image (borrowed); null without one.
    unsigned char* getImageOverlayMemory() const;

    int getStreamId() const { return streamId; }
    const std::string& getObjectPath() const { return objectPath; }
    int getFrameCount() const { return frameCount; }
    const ExternalOverlayUnion& getExternalUnion() const { return externalUnion; }
    /// Whether this is an overlay; a placeholder is not.
    bool isCreated() const { return created; }

private:
    void insertImage(const unsigned char* image, bool isChanged);

    int streamId;
    int overlayId = 0;
    int bufferSize = 0;
    int width = 0;
    int height = 0;
    std::string objectPath;
    std::string getBufferRequest;
    int bufferHandle = -1;
    std::unique_ptr<MappedMemory> memory;
    bool visible = false;
    bool dirty = false;
    int frameCount = 0;
    ExternalOverlayUnion externalUnion;
    bool created = false;
    /// Of the overlay at the service; owned, made when it is needed first.
    GDBusProxy* overlayProxy = nullptr;
};
