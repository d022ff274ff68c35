#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

struct mosquitto;

/// Another party on the bus: it takes down all that comes under its filter, in order, and can
/// publish. It connects again by itself, and is subscribed when it is made.
class Observer {
public:
    struct Message {
        std::string topic;
        std::string payload;
        bool retained;
        int qos;
    };

    explicit Observer(const std::string& socket, const std::string& filter = "#");
    /// One with a name, for which a broker that keeps its sessions keeps what comes while it is
    /// away.
    static std::unique_ptr<Observer> durable(const std::string& socket, const std::string& name);
    ~Observer();
    Observer(const Observer&) = delete;
    Observer& operator=(const Observer&) = delete;

    std::vector<Message> messages() const;
    std::vector<Message> messages(const std::string& topic) const;
    /// The payload that came last under a topic.
    std::optional<std::string> last(const std::string& topic) const;
    void clear();

    /// Waits until `condition` holds, looked at after every message; false after `most`.
    bool waitUntil(const std::function<bool()>& condition,
                   std::chrono::milliseconds most = std::chrono::seconds(20)) const;
    /// Waits until the last payload under a topic contains a text.
    bool sees(const std::string& topic, const std::string& text) const;
    /// Waits until `count` messages came under a topic.
    bool sees(const std::string& topic, std::size_t count) const;

    /// Publishes, and returns when the broker has it.
    void publish(const std::string& topic, const std::string& payload, bool retain);

private:
    Observer(const std::string& socket, const std::string& filter, const char* durableName);
    void run();
    void onConnected();

    const std::string socket;
    const std::string filter;
    const bool isDurable;
    std::atomic<bool> stopping{false};
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::vector<Message> received;
    bool subscribed = false;
    mosquitto* client;  ///< the thread's
    std::thread thread;
};
