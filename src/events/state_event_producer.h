#pragma once

#include <string>
#include <vector>

#include "events/state_event_producer_handle.h"

/// The application's own events: one for each profile, an aggregate for each camera ("Any Profile")
/// and, with more than one camera, one for the device ("Any Camera"). An aggregate is on while any
/// of its members is.
///
/// Not locked: its owner serialises the calls. Times are monotonic microseconds. The operations on
/// a handle throw std::out_of_range for a camera that was never registered.
class StateEventProducer {
public:
    /// `label` begins the nice name of each event.
    explicit StateEventProducer(const std::string& label);
    StateEventProducer(const StateEventProducer&) = delete;
    StateEventProducer& operator=(const StateEventProducer&) = delete;

    /// Declares the profile's event and counts one more user of the aggregates. If any of them
    /// fails, all are given up again and the handle's key is "invalid".
    StateEventProducerHandle registerEvent(int cameraId, const std::string& eventName,
                                           const std::string& niceName);
    void unregisterEvent(const StateEventProducerHandle& handle);
    void unregisterEvent(int cameraId, const std::string& key);

    void sendStartEvent(const StateEventProducerHandle& handle, const long& time);
    void sendEndEvent(const StateEventProducerHandle& handle, const long& time);
    void sendEndEvent(const StateEventProducerHandle& handle);

private:
    void prepareReferenceCounterVectors(int cameraId);
    bool declareAnyEvents(int cameraId);
    bool declareGlobalAnyEvent();
    void removeAnyEvents(int cameraId);
    void removeGlobalAnyEvent();
    void sendEndEventGeneric(const StateEventProducerHandle& handle, const long* time);

    /// [0]: the cameras with an ongoing event; [c]: the ongoing profile events of camera c.
    std::vector<int> referenceCounters;
    /// [0]: the key of the "Any Camera" event; [c]: of camera c's "Any Profile" event.
    std::vector<std::string> anyEventKeys;
    const std::string label;
};
