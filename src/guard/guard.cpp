#include "guard/guard.h"

#include <algorithm>

#include "device/camera_info.h"
#include "events/svg_doc.h"
#include "events/svg_style.h"
#include "filters/exclusion_filter.h"
#include "filters/low_confident_object_filter.h"
#include "geometry/polygon.h"
#include "tracking/parsed_scene.h"
#include "tracking/tracking_object.h"

namespace {

const char visualConfirmationEvent[] = "xinternal_data";
/// Microseconds: 15 minutes.
constexpr long visualConfirmationDuration = 900000000;

}  // namespace

Guard::Guard(const std::string& profileName, int profile, int camera, long hold,
             const std::string& producerLabel, StateEventProducerI& producer, int preset)
    : name(profileName),
      profileId(profile),
      cameraId(camera),
      holdTime(hold),
      visualConfirmation(visualConfirmationEvent, visualConfirmationDuration),
      configuredPreset(preset),
      isMechanicalPTZ(CameraInfo::isMechanicalPTZ()),
      stateEventHandler(camera, profile, producerLabel, profileName, hold, producer) {
    g_rec_mutex_init(&mutex);
    addExclusionFilter(new LowConfidentObjectFilter);
}

Guard::~Guard() {
    for (ExclusionFilter* filter : filters) {
        delete filter;
    }
    g_rec_mutex_clear(&mutex);
}

AlarmData* Guard::checkObjects(ParsedScene& scene, const std::string& areaSvg) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    const long time = scene.timestamp;
    // Meant to come before the camera's position is looked at: a test event works anywhere.
    if (testEventRequested) {
        handleTestEvent(time, areaSvg);
        return createTestAlarmData();
    }
    if (!shouldDataBeProcessed(time)) {
        return nullptr;
    }
    AlarmData* alarmData = updateObjectsAndGetAlarms(scene);
    stateEventHandler.handleAlarm(alarmData->alarm, time);
    sendVisualConfirmationEvent(*alarmData, time, areaSvg);
    return alarmData;
}

void Guard::handleStartupPreset(int preset) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    currentPreset = preset;
}

void Guard::handleArrivingAtPreset(int preset, const long& time) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    currentPreset = preset;
    presetArrivalTime = time;
}

void Guard::handleLeavingPreset(const long& time) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    currentPreset = noPreset;
    dropTestEvent();
    stopAllEvents(time);
}

void Guard::handleMovementEvent(bool moving, const long& time) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    isMoving = moving;
    movementTime = time;
    dropTestEvent();
    // Meant for the end of a movement as well as for its start.
    stopAllEvents(time);
}

void Guard::updateFilterData(TrackingObject& object) {
    for (ExclusionFilter* filter : filters) {
        filter->updateFilterData(object);
    }
}

std::string Guard::createVisualConfirmationSvg(const AlarmData& alarmData) const {
    static const std::string alarming = createSvgStyle("#FF0000", 0.2F, 0.005F);
    static const std::string quiet = createSvgStyle("#00FF00", 0.2F, 0.005F);
    std::string svg;
    for (const auto& [object, status] : alarmData.objects) {
        if (object->confident) {
            svg += object->polygon->toBoundingBoxStringSvg(
                status == AlarmDataStatusAlarm ? alarming : quiet, "");
        }
    }
    return svg;
}

void Guard::addExclusionFilter(ExclusionFilter* filter) {
    if (filter != nullptr) {
        filters.push_back(filter);
    }
}

bool Guard::enableVisualConfirmation(const std::string& transform) {
    svgTransform = transform;
    return visualConfirmation.enable();
}

void Guard::disableVisualConfirmation() {
    visualConfirmation.disable();
}

bool Guard::shouldDataBeProcessed(const long& time) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    if (!isMechanicalPTZ) {
        return true;
    }
    if (isMoving) {
        return false;
    }
    if (configuredPreset == anyPosition && time >= movementTime) {
        return true;
    }
    if (configuredPreset == anyPreset) {
        return currentPreset != noPreset && time >= presetArrivalTime;
    }
    // A scene from before the last movement comes here with anyPosition, too, and is compared.
    return configuredPreset == currentPreset && time >= presetArrivalTime;
}

bool Guard::canObjectTriggerAlarm(TrackingObject& object) const {
    return std::ranges::all_of(
        filters, [&](ExclusionFilter* filter) { return filter->canObjectTriggerAlarm(object); });
}

bool Guard::isVisualConfirmationAllowedToSend() const {
    return visualConfirmation.isAllowedToSend();
}

AlarmDataStatus_e Guard::createAlarmStatus(bool canAlarm, bool second) {
    if (canAlarm) {
        return AlarmDataStatusAlarm;
    }
    return second ? AlarmDataStatusNotOfInterest : AlarmDataStatusFiltered;
}

AlarmData* Guard::createTestAlarmData() const {
    static const Polygon display(-2048, 2048, -2048, 2048);
    auto* alarmData = new AlarmData(profileId);
    alarmData->addPolygonToDisplay(&display);
    return alarmData;
}

void Guard::handleTestEvent(const long& time, const std::string& areaSvg) {
    if (!testEventRunning) {
        testEventRunning = true;
        stateEventHandler.handleAlarm(true, time);
    }
    if (stateEventHandler.hasReachedEnd(time)) {
        dropTestEvent();
        stateEventHandler.handleAlarm(false, time);
        visualConfirmation.clearScreen();
    } else if (visualConfirmation.isEnabled()) {
        visualConfirmation.sendEvent(SvgDoc(svgTransform, areaSvg), time);
    }
}

void Guard::sendVisualConfirmationEvent(const AlarmData& alarmData, const long& time,
                                        const std::string& areaSvg) {
    if (!visualConfirmation.isEnabled()) {
        return;
    }
    SvgDoc document(svgTransform, createVisualConfirmationSvg(alarmData));
    if (stateEventHandler.isOngoing()) {
        document += areaSvg;
    }
    visualConfirmation.sendEvent(document, time);
}

void Guard::dropTestEvent() {
    testEventRunning = false;
    testEventRequested = false;
}
