#include "events/ktw_state_event_producer.h"

#include <syslog.h>

#include <algorithm>

namespace {

constexpr const char* kInvalidKey = "invalid";
constexpr const char* kLabel = "KTW 4";
constexpr const char* kOnvifLabel = "KTW";

}  // namespace

KTW_StateEventProducer* KTW_StateEventProducer::s_instance = nullptr;
int KTW_StateEventProducer::s_referenceCount = 0;
GMutex KTW_StateEventProducer::s_mutex;

KTW_StateEventProducer& KTW_StateEventProducer::getInstance() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    if (s_instance == nullptr) {
        s_instance = new KTW_StateEventProducer;
    }
    ++s_referenceCount;
    return *s_instance;
}

void KTW_StateEventProducer::releaseInstance() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&s_mutex);
    if (s_referenceCount > 0 && --s_referenceCount == 0) {
        delete s_instance;
        s_instance = nullptr;
    }
}

KTW_StateEventProducer::KTW_StateEventProducer() : stateEvents(kLabel) {
    g_rec_mutex_init(&mutex);
}

KTW_StateEventProducer::~KTW_StateEventProducer() {
    g_rec_mutex_clear(&mutex);
}

StateEventProducerHandle KTW_StateEventProducer::registerEvent(int cameraId,
                                                               const std::string& profileName,
                                                               const std::string& eventName,
                                                               const std::string& niceName) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    HandleGroup group;
    group.main = stateEvents.registerEvent(cameraId, eventName, niceName);
    if (group.main.key == kInvalidKey) {
        return group.main;
    }
    group.ktw3 = ktw3Events.registerEvent(cameraId);
    group.onvif = onvifEvents.registerEvent(cameraId, kOnvifLabel);
    group.onvifProfileT = onvifProfileT.registerEvent(cameraId, kOnvifLabel, profileName);
    handleGroups.push_back(group);
    return group.main;
}

void KTW_StateEventProducer::unregisterEvent(const StateEventProducerHandle& handle) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    const HandleGroup* group = findHandleGroup(handle);
    if (group == nullptr) {
        syslog(LOG_WARNING,
               "Could not unregister event, StateEventProducerHandle: %s is not stored\n",
               handle.key.c_str());
        return;
    }
    stateEvents.unregisterEvent(group->main);
    ktw3Events.unregisterEvent(group->ktw3);
    onvifEvents.unregisterEvent(group->onvif);
    onvifProfileT.unregisterEvent(group->onvifProfileT);
    deleteHandleGroup(handle);
}

void KTW_StateEventProducer::sendStartEvent(const StateEventProducerHandle& handle,
                                            const long& time) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    const HandleGroup* group = findHandleGroup(handle);
    if (group == nullptr) {
        syslog(LOG_WARNING,
               "Could not send start event, StateEventProducerHandle: %s is not stored\n",
               handle.key.c_str());
        return;
    }
    stateEvents.sendStartEvent(group->main, time);
    ktw3Events.sendStartEvent(group->ktw3, time);
    onvifEvents.sendStartEvent(group->onvif, time);
    onvifProfileT.sendStartEvent(group->onvifProfileT, time);
}

void KTW_StateEventProducer::sendEndEvent(const StateEventProducerHandle& handle,
                                          const long& time) {
    sendEndEventToAll(handle, time);
}

void KTW_StateEventProducer::sendEndEvent(const StateEventProducerHandle& handle) {
    sendEndEventToAll(handle);
}

template <typename... Time>
void KTW_StateEventProducer::sendEndEventToAll(const StateEventProducerHandle& handle,
                                               const Time&... time) {
    g_autoptr(GRecMutexLocker) locker = g_rec_mutex_locker_new(&mutex);
    const HandleGroup* group = findHandleGroup(handle);
    if (group == nullptr) {
        syslog(LOG_WARNING,
               "Could not end send event, StateEventProducerHandle: %s is not stored\n",
               handle.key.c_str());
        return;
    }
    stateEvents.sendEndEvent(group->main, time...);
    ktw3Events.sendEndEvent(group->ktw3, time...);
    onvifEvents.sendEndEvent(group->onvif, time...);
    onvifProfileT.sendEndEvent(group->onvifProfileT, time...);
}

const KTW_StateEventProducer::HandleGroup* KTW_StateEventProducer::findHandleGroup(
    const StateEventProducerHandle& handle) const {
    if (handle.key == kInvalidKey) {
        return nullptr;
    }
    const auto found = std::find_if(handleGroups.begin(), handleGroups.end(),
                                    [&](const HandleGroup& group) { return group.main == handle; });
    return found != handleGroups.end() ? &*found : nullptr;
}

void KTW_StateEventProducer::deleteHandleGroup(const StateEventProducerHandle& handle) {
    const HandleGroup* group = findHandleGroup(handle);
    if (group != nullptr) {
        handleGroups.erase(handleGroups.begin() + (group - handleGroups.data()));
    }
}
