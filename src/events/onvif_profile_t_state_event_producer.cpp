#include "events/onvif_profile_t_state_event_producer.h"

#include "events/sdk_wrapper.h"

namespace {

std::string lookUpKey(const StateEventProducerHandle& handle) {
    return handle.key + " - " + std::to_string(handle.cameraId);
}

void send(const StateEventProducerHandle& handle, int state, const long* time) {
    sdk_wrapper_onvif_motion_region_alarm_event_send(lookUpKey(handle).c_str(), state,
                                                     handle.key.c_str(), time);
}

}  // namespace

StateEventProducerHandle ONVIF_ProfileT_StateEventProducer::registerEvent(
    int cameraId, const std::string& /*label*/, const std::string& profileName) {
    StateEventProducerHandle handle{profileName, cameraId};
    if (sdk_wrapper_event_add_onvif_motion_region_alarm_event(
            lookUpKey(handle).c_str(), profileName.c_str(), cameraId - 1, 0) == 0) {
        handle.key = "invalid";
    }
    return handle;
}

void ONVIF_ProfileT_StateEventProducer::unregisterEvent(const StateEventProducerHandle& handle) {
    sdk_wrapper_event_remove(lookUpKey(handle).c_str());
}

void ONVIF_ProfileT_StateEventProducer::sendStartEvent(const StateEventProducerHandle& handle,
                                                       const long& time) {
    send(handle, 1, &time);
}

void ONVIF_ProfileT_StateEventProducer::sendEndEvent(const StateEventProducerHandle& handle,
                                                     const long& time) {
    send(handle, 0, &time);
}

void ONVIF_ProfileT_StateEventProducer::sendEndEvent(const StateEventProducerHandle& handle) {
    send(handle, 0, nullptr);
}
