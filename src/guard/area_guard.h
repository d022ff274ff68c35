#pragma once

#include <string>

#include "guard/guard.h"
#include "guard/protection_area.h"

class Polygon;
class TrackingObjectExternalData;

/// A guard that watches an area: an include polygon without any number of exclude polygons.
///
/// An object that is in the area while a filter holds it back earns a pending alarm; the moment the
/// filters let it pass it alarms, even if it has left the area by then. The pending alarm is kept
/// on the tracked object and does not travel to an object it is merged into.
class AreaGuard : public Guard {
public:
    /// The include area in scene coordinates is copied; for the rest see Guard.
    AreaGuard(const Polygon& includeArea, const std::string& name, int profileId, int cameraId,
              long holdTime, const std::string& producerLabel, StateEventProducerI& producer,
              int configuredPreset);

    AlarmData* checkObjects(ParsedScene& scene) override;
    void sendAlarmEvent() override;
    AlarmData* updateObjectsAndGetAlarms(ParsedScene& scene) override;
    void stopAllEvents(const long& time) override;

    /// Appends a copy of an exclude area in scene coordinates. Before the guard is in service only.
    void addExcludeArea(const Polygon& excludeArea);

    /// This guard's data on the object, made at first sight of it; owned by the object.
    TrackingObjectExternalData* getData(TrackingObject& object) const;

    bool isStateEventOngoing() const;

    /// Sets the preset to watch; takes no lock.
    void updatePreset(int preset);

private:
    AlarmDataStatus_e judge(TrackingObject& object);

    ProtectionArea protectionArea;
    std::string pendingAlarmKey;
    std::string filterDataKey;
    /// The include area as an SVG element.
    std::string areaSvg;
};
