#pragma once

#include <string>

#include "events/state_event_producer_handle.h"

class StateEventProducerI;

/// Turns the verdicts of one guard, which flicker from scene to scene, into a steady event: on at
/// the first alarming scene, off at the first quiet scene that comes more than the hold time after
/// the last alarming one. There is no timer; only a scene ends an event, and gives the end its
/// time.
///
/// Not locked: the guard's mutex covers it. Times are monotonic microseconds.
///
///     idle --alarm--> on --quiet scene, hold run out--> idle (still armed)
///                     on --stopAllEvents--> idle (not armed)
class StateEventHandler {
public:
    /// Declares the profile's events with the producer, which is borrowed for the handler's life.
    /// `producerLabel` begins the event's nice name, `holdTime` is in microseconds.
    StateEventHandler(int cameraId, int profileId, const std::string& producerLabel,
                      const std::string& profileName, long holdTime, StateEventProducerI& producer);
    /// Ends a running event, stamped with the present time, and gives the declarations up.
    ~StateEventHandler();
    StateEventHandler(const StateEventHandler&) = delete;
    StateEventHandler& operator=(const StateEventHandler&) = delete;

    /// Takes the verdict of one scene. Returns 0 if that started the event, 1 if it ended it and 2
    /// if it changed nothing.
    int handleAlarm(bool alarm, const long& time);
    /// Cuts the hold short: ends the event, if it is on.
    void stopAllEvents(const long& time);

    bool isOngoing() const { return ongoing; }
    int getId() const { return id; }
    /// Whether a quiet scene of this time would end the event.
    bool hasReachedEnd(const long& time) const;

    // The fields are open because the guard's test event works on them: it starts an event without
    // an alarming scene.

    /// The profile's id.
    const int id;
    StateEventProducerHandle handle;
    /// The event is on.
    bool ongoing = false;
    /// An alarm has been seen since the last stop, so lastAlarmTime means something.
    bool armed = false;
    /// The time of the latest alarming scene.
    long lastAlarmTime = 0;
    const long holdTime;
    /// Borrowed.
    StateEventProducerI& producer;
};
