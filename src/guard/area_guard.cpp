#include "guard/area_guard.h"

#include "app/utils.h"
#include "events/svg_style.h"
#include "geometry/polygon.h"
#include "tracking/parsed_scene.h"
#include "tracking/tracking_object.h"
#include "tracking/tracking_object_external_data_no_merge.h"

AreaGuard::AreaGuard(const Polygon& includeArea, const std::string& profileName, int profile,
                     int camera, long hold, const std::string& producerLabel,
                     StateEventProducerI& producer, int preset)
    : Guard(profileName, profile, camera, hold, producerLabel, producer, preset),
      protectionArea(includeArea),
      pendingAlarmKey("hasPendingAlarm"),
      filterDataKey(utils::generateFilterDataKey("area_guard", profile)),
      areaSvg(protectionArea.toStringSvg(createSvgStyle("#FF0000", 0.2F, 0.005F))) {}

AlarmData* AreaGuard::checkObjects(ParsedScene& scene) {
    return Guard::checkObjects(scene, areaSvg);
}

void AreaGuard::sendAlarmEvent() {
    testEventRequested = true;
}

AlarmData* AreaGuard::updateObjectsAndGetAlarms(ParsedScene& scene) {
    auto* alarmData = new AlarmData(profileId);
    alarmData->reserve(scene.activeObjects.size());
    for (TrackingObject* object : scene.activeObjects) {
        const AlarmDataStatus_e status = judge(*object);
        alarmData->addObjectStatus(object, status);
        alarmData->alarm |= status == AlarmDataStatusAlarm;
    }
    return alarmData;
}

void AreaGuard::stopAllEvents(const long& time) {
    visualConfirmation.clearScreen();
    stateEventHandler.stopAllEvents(time);
}

void AreaGuard::addExcludeArea(const Polygon& excludeArea) {
    protectionArea.addExcludeArea(excludeArea);
}

TrackingObjectExternalData* AreaGuard::getData(TrackingObject& object) const {
    TrackingObjectExternalData* data = object.getData(filterDataKey);
    if (data == nullptr) {
        data = new TrackingObjectExternalDataNoMerge;
        data->insert(pendingAlarmKey, false);
        object.insertData(filterDataKey, data);
    }
    return data;
}

bool AreaGuard::isStateEventOngoing() const {
    return stateEventHandler.isOngoing();
}

void AreaGuard::updatePreset(int preset) {
    configuredPreset = preset;
}

AlarmDataStatus_e AreaGuard::judge(TrackingObject& object) {
    updateFilterData(object);
    TrackingObjectExternalData* data = getData(object);
    const bool wasPending = data->getBool(pendingAlarmKey);
    // Found out for every object, whatever the filters will say: an object inside that is held back
    // earns a pending alarm.
    const bool isInside = protectionArea.checkObject(object) == 0;
    const bool passes = canObjectTriggerAlarm(object);
    if (passes) {
        data->insert(pendingAlarmKey, false);
    } else if (isInside) {
        data->insert(pendingAlarmKey, true);
    }
    return createAlarmStatus(passes && (isInside || wasPending), passes);
}
