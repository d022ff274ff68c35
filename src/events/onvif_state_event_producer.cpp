#include "events/onvif_state_event_producer.h"

#include "app/utils.h"
#include "device/camera_info.h"
#include "events/sdk_wrapper.h"

StateEventProducerHandle ONVIF_StateEventProducer::registerEvent(int cameraId,
                                                                 const std::string& label) {
    adjustNbrCameras(cameraId);
    const std::string key = utils::generateEventLookupKey(createOnvifEventNiceName(label, cameraId),
                                                          createOnvifEventName(cameraId));
    if (sdk_wrapper_event_add_onvif_motion_alarm_event(key.c_str(), cameraId - 1, 0) == 0) {
        return {"invalid", cameraId};
    }
    return {key, cameraId};
}

void ONVIF_StateEventProducer::unregisterEvent(const StateEventProducerHandle& handle) {
    sdk_wrapper_event_remove(handle.key.c_str());
}

void ONVIF_StateEventProducer::sendStartEvent(const StateEventProducerHandle& handle,
                                              const long& time) {
    if (!isCameraNbrInRange(handle.cameraId)) {
        return;
    }
    int& ongoingProfiles = referenceCounters[static_cast<std::size_t>(handle.cameraId)];
    if (ongoingProfiles == 0) {
        sdk_wrapper_onvif_motion_alarm_event_send(handle.key.c_str(), 1, &time);
    }
    ++ongoingProfiles;
}

void ONVIF_StateEventProducer::sendEndEvent(const StateEventProducerHandle& handle,
                                            const long& time) {
    sendEndEventGeneric(handle, &time);
}

void ONVIF_StateEventProducer::sendEndEvent(const StateEventProducerHandle& handle) {
    sendEndEventGeneric(handle, nullptr);
}

bool ONVIF_StateEventProducer::isCameraNbrInRange(int camera) const {
    return static_cast<std::size_t>(camera) < referenceCounters.size();
}

void ONVIF_StateEventProducer::adjustNbrCameras(int camera) {
    if (!isCameraNbrInRange(camera)) {
        referenceCounters.resize(static_cast<std::size_t>(camera) + 1, 0);
    }
}

std::string ONVIF_StateEventProducer::createOnvifEventName(int cameraId) const {
    return "ONVIFCamera" + std::to_string(cameraId);
}

std::string ONVIF_StateEventProducer::createOnvifEventNiceName(const std::string& label,
                                                               int cameraId) const {
    if (CameraInfo::isMultiCamera()) {
        return label + " (" + CameraInfo::getCameraName(cameraId) + ")";
    }
    return label;
}

void ONVIF_StateEventProducer::sendEndEventGeneric(const StateEventProducerHandle& handle,
                                                   const long* time) {
    if (!isCameraNbrInRange(handle.cameraId)) {
        return;
    }
    int& ongoingProfiles = referenceCounters[static_cast<std::size_t>(handle.cameraId)];
    if (ongoingProfiles < 1) {
        return;
    }
    if (ongoingProfiles == 1) {
        sdk_wrapper_onvif_motion_alarm_event_send(handle.key.c_str(), 0, time);
    }
    --ongoingProfiles;
}
