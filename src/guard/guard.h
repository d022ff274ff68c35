#pragma once

#include <glib.h>

#include <cstdint>
#include <string>
#include <vector>

#include "events/state_event_handler.h"
#include "events/visual_confirmation_handler.h"
#include "guard/alarm_data.h"

class ExclusionFilter;
class ParsedScene;
class StateEventProducerI;
class TrackingObject;

/// One configured detection profile of one camera: judges the tracked objects of each scene,
/// decides on an alarm, and passes the decision on as a stateful event and a visual confirmation
/// frame.
///
/// Constructing a guard declares its event on the bus; destroying it ends a running event, removes
/// the declaration and stops visual confirmation. Guards are owned by a camera and live from one
/// configuration to the next.
///
/// Threads: every caller holds the camera's mutex. checkObjects() and the preset and movement
/// operations then take the guard's own, recursive one; enabling and disabling visual confirmation
/// and sendAlarmEvent() rely on the camera's alone.
///
/// Test event: idle -> requested (sendAlarmEvent) -> running (next scene) -> idle (hold run out).
/// Leaving a preset and any movement event drop it.
class Guard {
public:
    /// `configuredPreset` only: watch in any position.
    static constexpr int anyPosition = -2;
    /// `configuredPreset` only: watch at any preset, but not between presets.
    static constexpr int anyPreset = -1;
    /// `currentPreset` only: the camera is at no preset.
    static constexpr int noPreset = -3;

    /// `holdTime` in microseconds; `producer` is borrowed and outlives the guard;
    /// `configuredPreset` is a preset token or one of the values above. The first filter is in
    /// place afterwards: the one that refuses objects of low confidence.
    Guard(const std::string& name, int profileId, int cameraId, long holdTime,
          const std::string& producerLabel, StateEventProducerI& producer, int configuredPreset);
    virtual ~Guard();
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

    /// Judges one scene and sends what follows from it. The caller owns the result; null when the
    /// camera's position keeps the guard from looking at the scene at all.
    virtual AlarmData* checkObjects(ParsedScene& scene) = 0;

    /// Requests a test event: it starts with the next scene.
    virtual void sendAlarmEvent() = 0;

    /// Tells a new guard where the camera stands.
    virtual void handleStartupPreset(int preset);
    /// Times are monotonic microseconds.
    virtual void handleArrivingAtPreset(int preset, const long& time);
    virtual void handleLeavingPreset(const long& time);
    /// Start and end of a movement alike stop all events.
    virtual void handleMovementEvent(bool moving, const long& time);

    /// Judges each active object. The caller owns the result, which is never null.
    virtual AlarmData* updateObjectsAndGetAlarms(ParsedScene& scene) = 0;

    /// Ends a running event at once and clears the screen.
    virtual void stopAllEvents(const long& time) = 0;

    /// Lets every filter, inactive ones too, note what it needs of the object.
    virtual void updateFilterData(TrackingObject& object);

    /// A box for each confident object, red for those that alarm and green for the rest.
    virtual std::string createVisualConfirmationSvg(const AlarmData& alarmData) const;

    /// Appends a filter and takes ownership; null is ignored.
    void addExclusionFilter(ExclusionFilter* filter);

    /// Starts sending frames whose coordinates go through the given group tag. False if the event
    /// could not be declared, in which case the guard counts as enabled all the same.
    bool enableVisualConfirmation(const std::string& svgTransform);
    void disableVisualConfirmation();

    /// Whether the camera's position lets the guard look at a scene of that time, in monotonic
    /// microseconds. Always true on a camera that is not a mechanical PTZ.
    bool shouldDataBeProcessed(const long& time);
    /// True when every filter lets the object pass; stops at the first that refuses.
    bool canObjectTriggerAlarm(TrackingObject& object) const;
    /// Whether visual confirmation is enabled and has not timed out.
    bool isVisualConfirmationAllowedToSend() const;
    /// 0 when the object can alarm, otherwise 1 or 2 as `second` is true or false.
    static AlarmDataStatus_e createAlarmStatus(bool canAlarm, bool second);

    const std::string& getName() const { return name; }
    int getProfileId() const { return profileId; }
    int getCameraId() const { return cameraId; }
    const std::string& getSvgTransform() const { return svgTransform; }

protected:
    /// One scene: the test event, else the preset gate, the verdict, the event and the frame.
    /// `areaSvg` is shown as long as the event is on.
    AlarmData* checkObjects(ParsedScene& scene, const std::string& areaSvg);

    std::string name;
    std::int32_t profileId;
    std::int32_t cameraId;
    /// Microseconds.
    std::int64_t holdTime;
    VisualConfirmationHandler visualConfirmation;
    /// Owned; asked in order.
    std::vector<ExclusionFilter*> filters;
    std::int32_t configuredPreset;
    std::int32_t currentPreset = noPreset;
    /// Guards the preset fields, the test event flags and the state event handler.
    mutable GRecMutex mutex;
    /// Monotonic microseconds of the last arrival at a preset.
    std::int64_t presetArrivalTime = 0;
    /// Monotonic microseconds of the last movement event.
    std::int64_t movementTime = 0;
    bool isMechanicalPTZ;
    bool isMoving = false;
    /// The group tag that opens each frame; empty until visual confirmation is enabled.
    std::string svgTransform;
    StateEventHandler stateEventHandler;
    bool testEventRunning = false;
    /// Set by sendAlarmEvent(); no object is judged while it is set.
    bool testEventRequested = false;

private:
    AlarmData* createTestAlarmData() const;
    void handleTestEvent(const long& time, const std::string& areaSvg);
    void sendVisualConfirmationEvent(const AlarmData& alarmData, const long& time,
                                     const std::string& areaSvg);
    void dropTestEvent();
};
