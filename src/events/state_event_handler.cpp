#include "events/state_event_handler.h"

#include "app/utils.h"
#include "events/event_nice_name.h"
#include "events/state_event_producer_i.h"

StateEventHandler::StateEventHandler(int cameraId, int profileId, const std::string& producerLabel,
                                     const std::string& profileName, long hold,
                                     StateEventProducerI& eventProducer)
    : id(profileId), holdTime(hold), producer(eventProducer) {
    handle =
        producer.registerEvent(cameraId, profileName, utils::generateEventName(cameraId, profileId),
                               utils::generateEventNiceName(producerLabel, profileName, cameraId));
}

StateEventHandler::~StateEventHandler() {
    if (ongoing) {
        producer.sendEndEvent(handle);
    }
    producer.unregisterEvent(handle);
}

int StateEventHandler::handleAlarm(bool alarm, const long& time) {
    constexpr int kStarted = 0;
    constexpr int kEnded = 1;
    constexpr int kUnchanged = 2;
    if (alarm) {
        armed = true;
        lastAlarmTime = time;
        if (ongoing) {
            return kUnchanged;
        }
        ongoing = true;
        producer.sendStartEvent(handle, time);
        return kStarted;
    }
    if (hasReachedEnd(time)) {
        ongoing = false;
        producer.sendEndEvent(handle, time);
        return kEnded;
    }
    return kUnchanged;
}

void StateEventHandler::stopAllEvents(const long& time) {
    if (!ongoing) {
        return;
    }
    producer.sendEndEvent(handle, time);
    ongoing = false;
    armed = false;
}

bool StateEventHandler::hasReachedEnd(const long& time) const {
    return armed && time - lastAlarmTime > holdTime && ongoing;
}
