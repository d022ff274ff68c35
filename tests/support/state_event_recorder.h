#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "events/state_event_producer_i.h"

/// Writes down what is asked of a producer, a line each; its handles have the event name as key.
/// Any thread may call.
class StateEventRecorder : public StateEventProducerI {
public:
    StateEventProducerHandle registerEvent(int cameraId, const std::string& profileName,
                                           const std::string& eventName,
                                           const std::string& niceName) override {
        write("register camera " + std::to_string(cameraId) + " " + profileName + " " + eventName +
              " \"" + niceName + "\"");
        return {eventName, cameraId};
    }
    void unregisterEvent(const StateEventProducerHandle& handle) override {
        write("unregister " + handle.key);
    }
    void sendStartEvent(const StateEventProducerHandle& handle, const long& time) override {
        write("start " + handle.key + " " + std::to_string(time));
    }
    void sendEndEvent(const StateEventProducerHandle& handle, const long& time) override {
        write("end " + handle.key + " " + std::to_string(time));
    }
    void sendEndEvent(const StateEventProducerHandle& handle) override {
        write("end " + handle.key + " now");
    }

    /// What was written since the last call.
    std::vector<std::string> take() {
        const std::lock_guard lock(mutex);
        return std::exchange(lines, {});
    }

private:
    void write(const std::string& line) {
        const std::lock_guard lock(mutex);
        lines.push_back(line);
    }

    std::mutex mutex;
    std::vector<std::string> lines;
};
