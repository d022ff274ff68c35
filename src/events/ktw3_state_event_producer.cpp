#include "events/ktw3_state_event_producer.h"

#include <glib.h>

#include "app/utils.h"
#include "device/camera_info.h"
#include "events/sdk_wrapper.h"
#include "zqevent/zqevent.h"

namespace {

constexpr const char* kOwnSpace = "tnsorva";
constexpr const char* kOnvifSpace = "tns1";

void addTopic(ZQEventKeyValueSet* set, const char* key, const char* space, const std::string& name,
              const std::string& niceName) {
    zq_event_key_value_set_add_key_value(set, key, space, name.c_str(), ZQ_VALUE_TYPE_STRING,
                                         nullptr);
    zq_event_key_value_set_add_nice_names(set, key, space, name.c_str(), niceName.c_str(), nullptr);
}

/// The event's topics and properties, in their starting state. The caller owns it; null when the
/// platform gives none.
ZQEventKeyValueSet* createSet(const std::string& name, const std::string& niceName) {
    const gint zero = 0;
    ZQEventKeyValueSet* set = zq_event_key_value_set_new();
    if (set == nullptr) {
        return nullptr;
    }
    addTopic(set, "topic0", kOnvifSpace, "RuleEngine", "Application");
    addTopic(set, "topic1", kOwnSpace, "KTW3", "Tarnwatch 3");
    addTopic(set, "topic2", kOwnSpace, name, niceName);
    zq_event_key_value_set_add_key_value(set, "active", nullptr, &zero, ZQ_VALUE_TYPE_BOOL,
                                         nullptr);
    zq_event_key_value_set_mark_as_data(set, "active", nullptr, nullptr);
    zq_event_key_value_set_add_nice_names(set, "active", nullptr, nullptr, "Active", nullptr);
    zq_event_key_value_set_add_key_value(set, "areaid", nullptr, &zero, ZQ_VALUE_TYPE_INT, nullptr);
    zq_event_key_value_set_mark_as_source(set, "areaid", nullptr, nullptr);
    zq_event_key_value_set_add_nice_names(set, "areaid", nullptr, "Area ID", nullptr, nullptr);
    return set;
}

void send(const std::string& key, int value, const long* time) {
    sdk_wrapper_event_send(key.c_str(), value, "", time);
}

}  // namespace

StateEventProducerHandle KTW3_StateEventProducer::registerEvent(int cameraId) {
    adjustNbrCameras(cameraId);
    const std::string name = createEventName(cameraId);
    const std::string niceName = createEventNiceName(cameraId);
    const std::string key = utils::generateEventLookupKey(niceName, name);
    if (sdk_wrapper_event_add(key.c_str(), niceName.c_str(), SdkWrapperEventStateful, nullptr,
                              createSet(name, niceName)) == 0) {
        return {"invalid", cameraId};
    }
    return {key, cameraId};
}

void KTW3_StateEventProducer::unregisterEvent(const StateEventProducerHandle& handle) {
    sdk_wrapper_event_remove(handle.key.c_str());
}

void KTW3_StateEventProducer::sendStartEvent(const StateEventProducerHandle& handle,
                                             const long& time) {
    if (!isCameraNbrInRange(handle.cameraId)) {
        return;
    }
    int& ongoingProfiles = referenceCounters[static_cast<std::size_t>(handle.cameraId)];
    if (ongoingProfiles == 0) {
        send(handle.key, 1, &time);
    }
    ++ongoingProfiles;
}

void KTW3_StateEventProducer::sendEndEvent(const StateEventProducerHandle& handle,
                                           const long& time) {
    sendEndEventGeneric(handle, &time);
}

void KTW3_StateEventProducer::sendEndEvent(const StateEventProducerHandle& handle) {
    sendEndEventGeneric(handle, nullptr);
}

bool KTW3_StateEventProducer::isCameraNbrInRange(int camera) const {
    return static_cast<std::size_t>(camera) < referenceCounters.size();
}

void KTW3_StateEventProducer::adjustNbrCameras(int camera) {
    if (!isCameraNbrInRange(camera)) {
        referenceCounters.resize(static_cast<std::size_t>(camera) + 1, 0);
    }
}

std::string KTW3_StateEventProducer::createEventName(int cameraId) const {
    return "ktw3_video_" + std::to_string(cameraId);
}

std::string KTW3_StateEventProducer::createEventNiceName(int cameraId) const {
    return CameraInfo::isMultiCamera() ? "KTW 3: Video " + std::to_string(cameraId) : "KTW 3";
}

void KTW3_StateEventProducer::sendEndEventGeneric(const StateEventProducerHandle& handle,
                                                  const long* time) {
    if (!isCameraNbrInRange(handle.cameraId)) {
        return;
    }
    int& ongoingProfiles = referenceCounters[static_cast<std::size_t>(handle.cameraId)];
    if (ongoingProfiles < 1) {
        return;
    }
    if (ongoingProfiles == 1) {
        send(handle.key, 0, time);
    }
    --ongoingProfiles;
}
