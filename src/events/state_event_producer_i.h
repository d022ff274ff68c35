#pragma once

#include <string>

#include "events/state_event_producer_handle.h"

/// Publishes the alarms of profiles. What a profile's alarm becomes on the event bus is the
/// implementation's matter.
///
/// Times are monotonic microseconds. No operation fails towards its caller: failures are logged.
class StateEventProducerI {
public:
    virtual ~StateEventProducerI() = default;

    /// Declares the events of one profile of a camera, counted from 1. The handle has the key
    /// "invalid" when that fails.
    virtual StateEventProducerHandle registerEvent(int cameraId, const std::string& profileName,
                                                   const std::string& eventName,
                                                   const std::string& niceName) = 0;
    virtual void unregisterEvent(const StateEventProducerHandle& handle) = 0;

    virtual void sendStartEvent(const StateEventProducerHandle& handle, const long& time) = 0;
    virtual void sendEndEvent(const StateEventProducerHandle& handle, const long& time) = 0;
    /// Ends the event with the present time, for an end that no scene has brought about.
    virtual void sendEndEvent(const StateEventProducerHandle& handle) = 0;
};
