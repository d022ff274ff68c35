#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "overlay/alarm_overlay_message.h"

/// What a follower's callback was given, in words. One at a time.
class MessageRecord {
public:
    MessageRecord() { current = this; }
    ~MessageRecord() { current = nullptr; }
    MessageRecord(const MessageRecord&) = delete;
    MessageRecord& operator=(const MessageRecord&) = delete;

    static void take(const AlarmOverlayMessage& message) {
        const std::lock_guard lock(mutex);
        if (current != nullptr) {
            current->messages.push_back(inWords(message));
        }
    }

    static void takeChange(const OverlayProperties& properties) {
        take(OverlayPropertiesChangedMessage(properties));
    }

    std::vector<std::string> texts() const {
        const std::lock_guard lock(mutex);
        return messages;
    }

private:
    static std::string inWords(const AlarmOverlayMessage& message) {
        if (const auto* added = dynamic_cast<const StreamAddedMessage*>(&message)) {
            return "stream " + std::to_string(added->payload.id) + " added";
        }
        if (const auto* removed = dynamic_cast<const StreamRemovedMessage*>(&message)) {
            return "stream " + std::to_string(removed->payload) + " removed";
        }
        if (const auto* added = dynamic_cast<const OverlayAddedMessage*>(&message)) {
            return "overlay " + std::to_string(added->payload.overlayId) + " added";
        }
        if (const auto* removed = dynamic_cast<const OverlayRemovedMessage*>(&message)) {
            return "overlay " + std::to_string(removed->payload) + " removed";
        }
        const auto& changed = dynamic_cast<const OverlayPropertiesChangedMessage&>(message);
        return "overlay " + std::to_string(changed.payload.id) + " changed to " +
               changed.payload.height + " at '" + changed.payload.position + "'";
    }

    static inline std::mutex mutex;
    static inline MessageRecord* current = nullptr;
    std::vector<std::string> messages;
};
