#pragma once

#include <glib.h>

#include <memory>
#include <vector>

#include "device/stream_settings.h"
#include "overlay/command_channel_handler.h"
#include "overlay/external_overlay_container.h"
#include "overlay/external_overlay_union.h"
#include "overlay/stream_overlay_creator.h"

class AlarmDataContainer;
class AlarmOverlayMessage;
class CairoBoundingBoxContainer;
class CairoHandler;
class StreamOverlay;
struct OverlayProperties;
struct StreamProperties;

/// Draws the alarm graphics of each scene and shows them in the overlays of all streams of one
/// kind, clear of the overlays of others. The drawing library must be open.
///
/// Threads: the operations may be called by any; one at a time is at work, so a message waits for
/// the frame in progress. Whoever has one that others may still be using closes it and drops his
/// share.
class AlarmOverlayHandler {
public:
    /// Without settings and profiles. Throws std::runtime_error when the services cannot be
    /// reached.
    AlarmOverlayHandler();
    AlarmOverlayHandler(const StreamSettings& settings, const std::vector<int>& profiles);
    /// Takes all overlays away from the service; failures are logged.
    ~AlarmOverlayHandler();
    AlarmOverlayHandler(const AlarmOverlayHandler&) = delete;
    AlarmOverlayHandler& operator=(const AlarmOverlayHandler&) = delete;

    /// Shows the verdicts of one scene, of that time in monotonic microseconds. Throws
    /// std::runtime_error: this handler is of no more use then.
    void handleAlarmResult(const AlarmDataContainer& alarms, const long& time);

    /// Takes in what is new. Throws std::runtime_error when the overlay of a new stream cannot be
    /// made: the handler goes on, and tries it again after some frames.
    void handleMessage(const AlarmOverlayMessage& message);

    /// Takes a configuration. Whether the streams and overlays are to be listed again.
    bool applySettings(const std::vector<int>& newProfiles, const StreamSettings& newSettings);

    /// Ends it, once the frame in progress is through: all overlays are taken away from the service
    /// and the image is gone, so that the drawing library may be closed. Frames that come later do
    /// nothing.
    void close();

    StreamSettings getSettings() const;
    std::vector<int> getProfiles() const;

private:
    class Descriptor {
    public:
        explicit Descriptor(int opened) : value(opened) {}
        ~Descriptor();
        Descriptor(const Descriptor&) = delete;
        Descriptor& operator=(const Descriptor&) = delete;

        const int value;
    };

    void handleStreamAdded(const StreamProperties& stream);
    void handleStreamRemoved(int streamId);
    void handleExternalOverlayAdded(const ExternalOverlay& overlay);
    void handleExternalOverlayRemoved(int overlayId);
    void handleExternalOverlayPropertiesChanged(const OverlayProperties& properties);

    bool hasStream(int streamId) const;
    bool isToBeShownIn(const StreamProperties& stream) const;
    bool shouldStreamOverlaysBeRecreated() const;
    void recreateStreamOverlays();
    void removeAllCreatedOverlays();
    void updateBoundingBoxContainerForActiveProfiles(const AlarmDataContainer& alarms,
                                                     const long& now,
                                                     CairoBoundingBoxContainer& boxes) const;
    bool renderCairoData(const AlarmDataContainer& alarms, const CairoBoundingBoxContainer& boxes);
    void showImage(bool isChanged);
    void clearCairoSurface(const AlarmDataContainer& alarms,
                           const CairoBoundingBoxContainer& boxes);

    // All but the two ways to the services are guarded by the mutex.
    mutable GMutex mutex;
    const Descriptor cameraDevice;
    StreamSettings settings;
    ExternalOverlayContainer externalOverlays;
    /// What the stream overlays and the image were made for.
    ExternalOverlayUnion currentUnion;
    std::vector<std::unique_ptr<StreamOverlay>> streamOverlays;
    std::unique_ptr<CairoHandler> cairoHandler;
    std::vector<int> profiles;
    CommandChannelHandler commandChannel;
    StreamOverlayCreator overlayCreator;
    bool surfaceIsClear = false;
};
