#include "overlay/alarm_overlay.h"

#include <syslog.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

#include "device/camera_info.h"
#include "device/stream_settings.h"
#include "overlay/alarm_overlay_configuration_container.h"
#include "overlay/alarm_overlay_handler.h"
#include "overlay/alarm_overlay_lock.h"
#include "overlay/alarm_overlay_message.h"
#include "overlay/cairo.h"
#include "overlay/list_overlays.h"
#include "overlay/list_streams.h"
#include "overlay/palette_utils.h"

namespace {

/// The only camera whose streams are drawn into.
constexpr int kCamera = 1;

struct PendingReset {
    int frameCount = 0;  ///< since the last try
    int frameLimit = 25;
    StreamSettings settings;
    std::vector<int> profiles;
};

// Guarded by the alarm overlay's lock, all three. A frame in progress holds a share of the handler.
bool enabled = false;
std::shared_ptr<AlarmOverlayHandler> handler;
std::optional<PendingReset> pendingReset;

bool startFollowingStreams() {
    const bool isStarted = ListStreams::initialize(AlarmOverlay::handleMessage);
    if (!isStarted) {
        syslog(LOG_WARNING, "Failed to start listening to stream changes.\n");
    }
    return isStarted;
}

bool setPalette() {
    const bool isSet = PaletteUtils::setCustomPaletteValues();
    if (!isSet) {
        syslog(LOG_WARNING,
               "Failed to set custom palette colors, overlay colors may be incorrect.\n");
    }
    return isSet;
}

bool startFollowingOverlays() {
    const bool isStarted = ListOverlays::initialize(AlarmOverlay::handleMessage);
    if (!isStarted) {
        syslog(LOG_WARNING, "Failed to start listening to overlays\n");
    }
    return isStarted;
}

bool createHandler() {
    try {
        handler = std::make_shared<AlarmOverlayHandler>();
        return true;
    } catch (const std::runtime_error& failure) {
        syslog(LOG_WARNING, "Failed to start alarm overlay handler: %s\n", failure.what());
        return false;
    }
}

void stopFollowing() {
    ListOverlays::deinitialize();
    ListStreams::deinitialize();
}

/// Waits for the frame in progress. Its thread may free the handler, which has nothing left by then
/// that needs the drawing library.
void dropHandler() {
    if (handler != nullptr) {
        handler->close();
        handler.reset();
    }
}

/// Gives up the handler that a frame failed with, unless somebody else has.
void beginReset(const std::shared_ptr<AlarmOverlayHandler>& failed) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(AlarmOverlay::getLock());
    if (handler == failed) {
        pendingReset =
            PendingReset{.settings = handler->getSettings(), .profiles = handler->getProfiles()};
        dropHandler();
    }
}

/// Counts a frame and, when it is time, tries to get a new handler. The caller holds the lock.
void proceedWithReset() {
    if (++pendingReset->frameCount < pendingReset->frameLimit) {
        return;
    }
    pendingReset->frameCount = 0;
    try {
        handler =
            std::make_shared<AlarmOverlayHandler>(pendingReset->settings, pendingReset->profiles);
    } catch (const std::runtime_error&) {
        syslog(LOG_INFO, "Failed to reset alarm overlay handler after %d frames. Retrying...\n",
               pendingReset->frameLimit);
        return;
    }
    setPalette();
    pendingReset.reset();
}

struct Frame {
    std::shared_ptr<AlarmOverlayHandler> handler;  ///< null when the frame is not shown
    bool isFirstAfterReset = false;
};

Frame beginFrame() {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(AlarmOverlay::getLock());
    const bool isResetting = pendingReset.has_value();
    if (isResetting) {
        proceedWithReset();
    }
    return {handler, isResetting};
}

bool show(const Frame& frame, const AlarmDataContainer& alarms, const long& time) {
    try {
        frame.handler->handleAlarmResult(alarms, time);
        return true;
    } catch (const std::runtime_error&) {
        beginReset(frame.handler);
        return false;
    }
}

/// As the follower of signals does it: a stream that fails does not keep the others out.
void tell(const AlarmOverlayMessage& message) {
    try {
        AlarmOverlay::handleMessage(message);
    } catch (const std::runtime_error& failure) {
        syslog(LOG_WARNING, "Error when handling stream changes: %s\n", failure.what());
    }
}

/// Tells the handler what is there already, since no signals will come for it.
void refresh() {
    for (const StreamProperties& stream : ListStreams::getCurrentStreams()) {
        tell(StreamAddedMessage(stream));
    }
    std::vector<ExternalOverlay> overlays = ListOverlays::getCurrentOverlays();
    for (const ExternalOverlay& overlay : overlays) {
        tell(OverlayAddedMessage(overlay));
    }
    for (ExternalOverlay& overlay : overlays) {
        overlay.disconnect();
    }
}

/// Whether streams and overlays are to be listed again.
bool apply(const AlarmOverlayConfigurationContainer& configuration) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(AlarmOverlay::getLock());
    const auto entry = configuration.streamSettings.find(kCamera);
    if (entry == configuration.streamSettings.end()) {
        syslog(LOG_WARNING,
               "StreamSetting for specific camera not found, ignoring alarm overlay settings for "
               "camera %d\n",
               kCamera);
        return false;
    }
    if (handler != nullptr) {
        return handler->applySettings(configuration.profileIds, entry->second);
    }
    if (pendingReset.has_value()) {
        pendingReset =
            PendingReset{.settings = entry->second, .profiles = configuration.profileIds};
    }
    return false;
}

}  // namespace

void AlarmOverlay::enableIfSupported() {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(getLock());
    if (enabled || !CameraInfo::isAlarmOverlaySupported() || !Cairo::initialize()) {
        return;
    }
    enabled =
        startFollowingStreams() && setPalette() && startFollowingOverlays() && createHandler();
    if (!enabled) {
        stopFollowing();
        Cairo::deinitialize();
    }
}

void AlarmOverlay::disable() {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(getLock());
    stopFollowing();
    dropHandler();
    Cairo::deinitialize();
    pendingReset.reset();
    enabled = false;
}

bool AlarmOverlay::isEnabled() {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(getLock());
    return enabled;
}

void AlarmOverlay::setNewConfiguration(const AlarmOverlayConfigurationContainer& configuration) {
    if (apply(configuration)) {
        refresh();
    }
}

void AlarmOverlay::handleAlarmResult(const AlarmDataContainer& alarms, const long& time) {
    const Frame frame = beginFrame();
    if (frame.handler != nullptr && show(frame, alarms, time) && frame.isFirstAfterReset) {
        refresh();
    }
}

void AlarmOverlay::handleMessage(const AlarmOverlayMessage& message) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(getLock());
    if (handler != nullptr) {
        handler->handleMessage(message);
    }
}
