#pragma once

#include <string>

#include "events/state_event_producer_handle.h"

/// The ONVIF motion region event of each rule, that is of each profile. Its handles hold the
/// profile's name as key. Times are monotonic microseconds.
class ONVIF_ProfileT_StateEventProducer {
public:
    ONVIF_ProfileT_StateEventProducer() = default;
    ONVIF_ProfileT_StateEventProducer(const ONVIF_ProfileT_StateEventProducer&) = delete;
    ONVIF_ProfileT_StateEventProducer& operator=(const ONVIF_ProfileT_StateEventProducer&) = delete;

    StateEventProducerHandle registerEvent(int cameraId, const std::string& label,
                                           const std::string& profileName);
    void unregisterEvent(const StateEventProducerHandle& handle);

    void sendStartEvent(const StateEventProducerHandle& handle, const long& time);
    void sendEndEvent(const StateEventProducerHandle& handle, const long& time);
    void sendEndEvent(const StateEventProducerHandle& handle);
};
