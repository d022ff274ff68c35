#pragma once

#include <string>
#include <vector>

#include "events/state_event_producer_handle.h"

/// The ONVIF motion alarm of each video source: on while any profile of the camera is.
///
/// Not locked: its owner serialises the calls. Times are monotonic microseconds.
class ONVIF_StateEventProducer {
public:
    ONVIF_StateEventProducer() = default;
    ONVIF_StateEventProducer(const ONVIF_StateEventProducer&) = delete;
    ONVIF_StateEventProducer& operator=(const ONVIF_StateEventProducer&) = delete;

    /// Declares the camera's event, or counts one more user of it.
    StateEventProducerHandle registerEvent(int cameraId, const std::string& label);
    void unregisterEvent(const StateEventProducerHandle& handle);

    void sendStartEvent(const StateEventProducerHandle& handle, const long& time);
    void sendEndEvent(const StateEventProducerHandle& handle, const long& time);
    void sendEndEvent(const StateEventProducerHandle& handle);

    bool isCameraNbrInRange(int camera) const;

private:
    void adjustNbrCameras(int camera);
    std::string createOnvifEventName(int cameraId) const;
    std::string createOnvifEventNiceName(const std::string& label, int cameraId) const;
    void sendEndEventGeneric(const StateEventProducerHandle& handle, const long* time);

    /// By camera: the profiles that hold its event on.
    std::vector<int> referenceCounters;
};
