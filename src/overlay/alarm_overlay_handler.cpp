#include "overlay/alarm_overlay_handler.h"

#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "guard/alarm_data_container.h"
#include "overlay/alarm_overlay_message.h"
#include "overlay/cairo_bounding_box.h"
#include "overlay/cairo_bounding_box_container.h"
#include "overlay/cairo_handler.h"
#include "overlay/camera_device.h"
#include "overlay/stream_overlay.h"

namespace {

constexpr double kDrawValue = 4.0 / 15.0;
constexpr int kDrawWidth = 2;

/// The only camera whose streams are drawn into.
constexpr int kCamera = 1;

}  // namespace

AlarmOverlayHandler::Descriptor::~Descriptor() {
    ::close(value);
}

AlarmOverlayHandler::AlarmOverlayHandler() : AlarmOverlayHandler(StreamSettings(), {}) {}

AlarmOverlayHandler::AlarmOverlayHandler(const StreamSettings& streamSettings,
                                         const std::vector<int>& profileIds)
    : cameraDevice(CameraDevice::open()),
      settings(streamSettings),
      externalOverlays(streamSettings),
      cairoHandler(std::make_unique<CairoHandler>(settings, currentUnion)),
      profiles(profileIds) {
    g_mutex_init(&mutex);
}

AlarmOverlayHandler::~AlarmOverlayHandler() {
    removeAllCreatedOverlays();
    g_mutex_clear(&mutex);
}

void AlarmOverlayHandler::close() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    removeAllCreatedOverlays();
    profiles.clear();
    cairoHandler.reset();
}

StreamSettings AlarmOverlayHandler::getSettings() const {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    return settings;
}

std::vector<int> AlarmOverlayHandler::getProfiles() const {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    return profiles;
}

void AlarmOverlayHandler::handleAlarmResult(const AlarmDataContainer& alarms, const long& time) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    if (streamOverlays.empty() || profiles.empty()) {
        return;
    }
    if (shouldStreamOverlaysBeRecreated()) {
        currentUnion = externalOverlays.getResultingExternalOverlayUnion();
        recreateStreamOverlays();
    }
    CairoBoundingBoxContainer boxes;
    updateBoundingBoxContainerForActiveProfiles(alarms, time, boxes);
    showImage(renderCairoData(alarms, boxes));
    clearCairoSurface(alarms, boxes);
}

void AlarmOverlayHandler::showImage(bool isChanged) {
    const StreamOverlay* first = nullptr;
    for (const std::unique_ptr<StreamOverlay>& overlay : streamOverlays) {
        overlay->setupBuffer(cameraDevice.value, commandChannel);
        if (first == nullptr) {
            overlay->insertData(cairoHandler->getData(), isChanged);
        } else {
            overlay->copyDataFromStreamOverlay(*first, isChanged);
        }
        // A placeholder has no image to copy from.
        if (first == nullptr && overlay->isCreated()) {
            first = overlay.get();
        }
        overlay->submitBuffer(commandChannel);
    }
}

bool AlarmOverlayHandler::shouldStreamOverlaysBeRecreated() const {
    const ExternalOverlayUnion& wanted = externalOverlays.getResultingExternalOverlayUnion();
    return std::any_of(streamOverlays.begin(), streamOverlays.end(),
                       [&wanted](const auto& overlay) {
                           if (overlay->getExternalUnion() != wanted) {
                               return overlay->getFrameCount() > 3;
                           }
                           return !overlay->isCreated() && overlay->getFrameCount() >= 4;
                       });
}

void AlarmOverlayHandler::recreateStreamOverlays() {
    for (std::unique_ptr<StreamOverlay>& overlay : streamOverlays) {
        overlayCreator.unregister(*overlay);
        // What is gone from the service is not unregistered again if the next fails.
        const std::unique_ptr<StreamOverlay> old =
            std::exchange(overlay, std::make_unique<StreamOverlay>(overlay->getStreamId()));
        overlay.reset(
            overlayCreator.createStreamOverlay(settings, old->getStreamId(), currentUnion));
    }
    cairoHandler = std::make_unique<CairoHandler>(settings, currentUnion);
}

void AlarmOverlayHandler::removeAllCreatedOverlays() {
    for (const std::unique_ptr<StreamOverlay>& overlay : streamOverlays) {
        overlayCreator.unregister(*overlay);
    }
    streamOverlays.clear();
}

bool AlarmOverlayHandler::applySettings(const std::vector<int>& newProfiles,
                                        const StreamSettings& newSettings) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    const bool isNothingNew = newSettings == settings && !profiles.empty();
    settings = newSettings;
    profiles = newProfiles;
    if (isNothingNew) {
        return false;
    }
    removeAllCreatedOverlays();
    externalOverlays.setStreamSettings(settings);
    currentUnion = externalOverlays.getResultingExternalOverlayUnion();
    cairoHandler = std::make_unique<CairoHandler>(settings, currentUnion);
    return true;
}

void AlarmOverlayHandler::handleMessage(const AlarmOverlayMessage& message) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&mutex);
    switch (message.type) {
        case StreamAdded:
            handleStreamAdded(static_cast<const StreamAddedMessage&>(message).payload);
            break;
        case StreamRemoved:
            handleStreamRemoved(static_cast<const StreamRemovedMessage&>(message).payload);
            break;
        case OverlayAdded:
            handleExternalOverlayAdded(static_cast<const OverlayAddedMessage&>(message).payload);
            break;
        case OverlayRemoved:
            handleExternalOverlayRemoved(
                static_cast<const OverlayRemovedMessage&>(message).payload);
            break;
        case OverlayPropertiesChanged:
            handleExternalOverlayPropertiesChanged(
                static_cast<const OverlayPropertiesChangedMessage&>(message).payload);
            break;
        default:
            syslog(LOG_WARNING, "Unknown alarm overlay message type: %d\n", message.type);
    }
}

bool AlarmOverlayHandler::hasStream(int streamId) const {
    return std::any_of(
        streamOverlays.begin(), streamOverlays.end(),
        [streamId](const auto& overlay) { return overlay->getStreamId() == streamId; });
}

bool AlarmOverlayHandler::isToBeShownIn(const StreamProperties& stream) const {
    const StreamSettings its(stream.width, stream.height, stream.rotation, stream.mirrored);
    return its == settings && stream.type == "h264" && !hasStream(stream.id) && !profiles.empty() &&
           stream.camera == kCamera;
}

void AlarmOverlayHandler::handleStreamAdded(const StreamProperties& stream) {
    if (!isToBeShownIn(stream)) {
        return;
    }
    // A placeholder stays if the next fails: after some frames another overlay is tried.
    streamOverlays.push_back(std::make_unique<StreamOverlay>(stream.id));
    streamOverlays.back().reset(
        overlayCreator.createStreamOverlay(settings, stream.id, currentUnion));
}

void AlarmOverlayHandler::handleStreamRemoved(int streamId) {
    const auto place = std::find_if(
        streamOverlays.begin(), streamOverlays.end(),
        [streamId](const auto& overlay) { return overlay->getStreamId() == streamId; });
    if (place != streamOverlays.end()) {
        overlayCreator.unregister(**place);
        streamOverlays.erase(place);
    }
}

void AlarmOverlayHandler::handleExternalOverlayAdded(const ExternalOverlay& overlay) {
    externalOverlays.insert(overlay);
}

void AlarmOverlayHandler::handleExternalOverlayRemoved(int overlayId) {
    externalOverlays.removeWithoutUpdate(overlayId);
    externalOverlays.updateResultingExternalOverlayUnion();
}

void AlarmOverlayHandler::handleExternalOverlayPropertiesChanged(
    const OverlayProperties& properties) {
    ExternalOverlay* overlay = externalOverlays.getExternalOverlay(properties.id);
    if (overlay == nullptr) {
        syslog(LOG_WARNING, "Could not find external overlay for proprties change: %i\n",
               properties.id);
        return;
    }
    overlay->setProperties(properties);
    externalOverlays.updateResultingExternalOverlayUnion();
}

void AlarmOverlayHandler::updateBoundingBoxContainerForActiveProfiles(
    const AlarmDataContainer& alarms, const long& now, CairoBoundingBoxContainer& boxes) const {
    const long age = g_get_monotonic_time() - now;
    for (const int profile : profiles) {
        for (auto entry = alarms.begin(profile); entry != alarms.end(profile); ++entry) {
            if (entry->second == AlarmDataStatusAlarm) {
                boxes.insert(*entry->first, settings, age, currentUnion);
            }
        }
    }
}

bool AlarmOverlayHandler::renderCairoData(const AlarmDataContainer& alarms,
                                          const CairoBoundingBoxContainer& boxes) {
    bool isBlank = boxes.isEmpty();
    for (const int profile : profiles) {
        for (auto area = alarms.beginPolygon(profile); area != alarms.endPolygon(profile); ++area) {
            if (*area != nullptr) {
                cairoHandler->drawPolygon(**area, kDrawValue, kDrawWidth, settings, currentUnion);
                isBlank = false;
            }
        }
    }
    for (const auto& [id, box] : boxes) {
        cairoHandler->drawObject(box, kDrawValue, kDrawWidth);
    }
    const bool wasClear = surfaceIsClear;
    if (isBlank && !wasClear) {
        cairoHandler->clearSurface();
    }
    surfaceIsClear = isBlank;
    cairoHandler->flush();
    return !isBlank || !wasClear;
}

void AlarmOverlayHandler::clearCairoSurface(const AlarmDataContainer& alarms,
                                            const CairoBoundingBoxContainer& boxes) {
    for (const int profile : profiles) {
        for (auto area = alarms.beginPolygon(profile); area != alarms.endPolygon(profile); ++area) {
            if (*area != nullptr) {
                cairoHandler->erasePolygon(**area, settings, currentUnion);
            }
        }
    }
    for (const auto& [id, box] : boxes) {
        cairoHandler->eraseObject(box);
    }
    cairoHandler->flush();
}
