#pragma once

#include <string>
#include <vector>

#include "events/state_event_producer_handle.h"

/// The per-camera event of the application's previous generation: on while any profile of the
/// camera is.
///
/// Not locked: its owner serialises the calls. Times are monotonic microseconds.
class KTW3_StateEventProducer {
public:
    KTW3_StateEventProducer() = default;
    KTW3_StateEventProducer(const KTW3_StateEventProducer&) = delete;
    KTW3_StateEventProducer& operator=(const KTW3_StateEventProducer&) = delete;

    /// Declares the camera's event, or counts one more user of it.
    StateEventProducerHandle registerEvent(int cameraId);
    void unregisterEvent(const StateEventProducerHandle& handle);

    void sendStartEvent(const StateEventProducerHandle& handle, const long& time);
    void sendEndEvent(const StateEventProducerHandle& handle, const long& time);
    void sendEndEvent(const StateEventProducerHandle& handle);

    bool isCameraNbrInRange(int camera) const;

private:
    void adjustNbrCameras(int camera);
    std::string createEventName(int cameraId) const;
    std::string createEventNiceName(int cameraId) const;
    void sendEndEventGeneric(const StateEventProducerHandle& handle, const long* time);

    /// By camera: the profiles that hold its event on.
    std::vector<int> referenceCounters;
};
