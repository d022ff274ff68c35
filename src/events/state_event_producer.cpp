#include "events/state_event_producer.h"

#include <syslog.h>

#include "app/utils.h"
#include "device/camera_info.h"
#include "events/event_nice_name.h"
#include "events/sdk_wrapper.h"

namespace {

/// The camera number of what belongs to the whole device.
constexpr int kNoCamera = -1;

bool declare(const std::string& key, const std::string& name, const std::string& niceName) {
    return sdk_wrapper_event_add(key.c_str(), name.c_str(), niceName.c_str(),
                                 SdkWrapperEventStateful, nullptr) != 0;
}

bool send(const std::string& key, int value, const long* time) {
    return sdk_wrapper_event_send(key.c_str(), value, nullptr, time) != 0;
}

void remove(const std::string& key, const std::string& name) {
    if (sdk_wrapper_event_remove(key.c_str()) == 0) {
        syslog(LOG_WARNING, "FAILED to remove event %s \n", name.c_str());
    }
}

std::string anyNiceName(const std::string& label, int cameraId) {
    return utils::generateEventNiceName(label, "Any Profile", cameraId);
}

std::string globalAnyNiceName(const std::string& label) {
    return utils::generateEventNiceName(label, "Any Camera", kNoCamera);
}

std::size_t index(int cameraId) {
    return static_cast<std::size_t>(cameraId);
}

}  // namespace

StateEventProducer::StateEventProducer(const std::string& eventLabel) : label(eventLabel) {}

StateEventProducerHandle StateEventProducer::registerEvent(int cameraId,
                                                           const std::string& eventName,
                                                           const std::string& niceName) {
    prepareReferenceCounterVectors(cameraId);
    StateEventProducerHandle handle{utils::generateEventLookupKey(niceName, eventName), cameraId};
    // All of them are declared before any failure counts, since all of them are given up then.
    bool declared = declare(handle.key, eventName, niceName);
    declared = declareAnyEvents(cameraId) && declared;
    if (CameraInfo::isMultiCamera()) {
        declared = declareGlobalAnyEvent() && declared;
    }
    if (!declared) {
        syslog(LOG_CRIT, "FAILED to create event %s \n", eventName.c_str());
        unregisterEvent(cameraId, handle.key);
        handle.key = "invalid";
    }
    return handle;
}

void StateEventProducer::unregisterEvent(const StateEventProducerHandle& handle) {
    if (sdk_wrapper_event_remove(handle.key.c_str()) == 0) {
        syslog(LOG_WARNING, "FAILED to unregister event for Camera %d\n", handle.cameraId);
    }
    removeAnyEvents(handle.cameraId);
    if (CameraInfo::isMultiCamera()) {
        removeGlobalAnyEvent();
    }
}

void StateEventProducer::unregisterEvent(int cameraId, const std::string& key) {
    unregisterEvent(StateEventProducerHandle{key, cameraId});
}

void StateEventProducer::sendStartEvent(const StateEventProducerHandle& handle, const long& time) {
    if (!send(handle.key, 1, &time)) {
        syslog(LOG_WARNING, "FAILED to send event\n");
        return;
    }
    if (++referenceCounters.at(index(handle.cameraId)) != 1) {
        return;
    }
    if (!send(anyEventKeys.at(index(handle.cameraId)), 1, &time)) {
        syslog(LOG_WARNING, "FAILED to send Camera %d Any event\n", handle.cameraId);
        return;
    }
    const int ongoingCameras = ++referenceCounters.at(0);
    if (CameraInfo::isMultiCamera() && ongoingCameras == 1 && !send(anyEventKeys.at(0), 1, &time)) {
        syslog(LOG_WARNING, "FAILED to send Global Any event\n");
    }
}

void StateEventProducer::sendEndEvent(const StateEventProducerHandle& handle, const long& time) {
    sendEndEventGeneric(handle, &time);
}

void StateEventProducer::sendEndEvent(const StateEventProducerHandle& handle) {
    sendEndEventGeneric(handle, nullptr);
}

/// The ends of the aggregates go by where the counters stand, not by whether they have just come
/// there: an end too many repeats them and counts on below 0, and is meant to.
void StateEventProducer::sendEndEventGeneric(const StateEventProducerHandle& handle,
                                             const long* time) {
    int& ongoingProfiles = referenceCounters.at(index(handle.cameraId));
    int& ongoingCameras = referenceCounters.at(0);
    if (ongoingProfiles > 0) {
        if (send(handle.key, 0, time)) {
            --ongoingProfiles;
        } else {
            syslog(LOG_WARNING, "FAILED to send end event\n");
        }
    }
    if (ongoingProfiles == 0) {
        if (send(anyEventKeys.at(index(handle.cameraId)), 0, time)) {
            --ongoingCameras;
        } else {
            syslog(LOG_WARNING, "FAILED to send end Camera Any event\n");
        }
    }
    if (CameraInfo::isMultiCamera() && ongoingCameras == 0 && !send(anyEventKeys.at(0), 0, time)) {
        syslog(LOG_WARNING, "FAILED to send end Global Any event\n");
    }
}

void StateEventProducer::prepareReferenceCounterVectors(int cameraId) {
    const std::size_t size = index(cameraId) + 1;
    if (referenceCounters.size() < size) {
        referenceCounters.resize(size, 0);
    }
    if (anyEventKeys.size() < size) {
        anyEventKeys.resize(size);
    }
}

bool StateEventProducer::declareAnyEvents(int cameraId) {
    const std::string name = utils::generateAnyEventName(cameraId);
    const std::string niceName = anyNiceName(label, cameraId);
    std::string& key = anyEventKeys.at(index(cameraId));
    key = utils::generateEventLookupKey(niceName, name);
    if (declare(key, name, niceName)) {
        return true;
    }
    syslog(LOG_CRIT, "FAILED to create any event %s \n", name.c_str());
    return false;
}

bool StateEventProducer::declareGlobalAnyEvent() {
    const std::string name = utils::generateGlobalEventName();
    const std::string niceName = globalAnyNiceName(label);
    std::string& key = anyEventKeys.at(0);
    key = utils::generateEventLookupKey(niceName, name);
    if (declare(key, name, niceName)) {
        return true;
    }
    syslog(LOG_CRIT, "FAILED to create any global event %s \n", name.c_str());
    return false;
}

void StateEventProducer::removeAnyEvents(int cameraId) {
    const std::string name = utils::generateAnyEventName(cameraId);
    remove(utils::generateEventLookupKey(anyNiceName(label, cameraId), name), name);
}

void StateEventProducer::removeGlobalAnyEvent() {
    const std::string name = utils::generateGlobalEventName();
    remove(utils::generateEventLookupKey(globalAnyNiceName(label), name), name);
}
