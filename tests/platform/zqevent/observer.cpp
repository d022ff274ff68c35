#include "platform/zqevent/observer.h"

#include <mosquitto.h>
#include <signal.h>

#include <stdexcept>

using namespace std::chrono_literals;

Observer::Observer(const std::string& where, const std::string& what)
    : Observer(where, what, nullptr) {}

std::unique_ptr<Observer> Observer::durable(const std::string& socket, const std::string& name) {
    return std::unique_ptr<Observer>(new Observer(socket, "#", name.c_str()));
}

Observer::Observer(const std::string& where, const std::string& what, const char* durableName)
    : socket(where),
      filter(what),
      isDurable(durableName != nullptr),
      client(mosquitto_new(durableName, !isDurable, this)) {
    mosquitto_connect_callback_set(
        client, [](mosquitto*, void* self, int) { static_cast<Observer*>(self)->onConnected(); });
    mosquitto_subscribe_callback_set(client, [](mosquitto*, void* self, int, int, const int*) {
        auto* observer = static_cast<Observer*>(self);
        const std::lock_guard lock(observer->mutex);
        observer->subscribed = true;
        observer->changed.notify_all();
    });
    mosquitto_message_callback_set(client, [](mosquitto*, void* self,
                                              const mosquitto_message* message) {
        auto* observer = static_cast<Observer*>(self);
        const std::lock_guard lock(observer->mutex);
        observer->received.push_back({message->topic,
                                      std::string(static_cast<const char*>(message->payload),
                                                  static_cast<std::size_t>(message->payloadlen)),
                                      message->retain, message->qos});
        observer->changed.notify_all();
    });
    thread = std::thread([this] { run(); });
    std::unique_lock lock(mutex);
    if (!changed.wait_for(lock, 20s, [this] { return subscribed; })) {
        throw std::runtime_error("no broker to observe");
    }
}

Observer::~Observer() {
    stopping = true;
    thread.join();
    mosquitto_destroy(client);
}

void Observer::onConnected() {
    std::unique_lock lock(mutex);
    if (isDurable && subscribed) {
        return;  // its session has the subscription; a new one would bring what is retained
    }
    lock.unlock();
    mosquitto_subscribe(client, nullptr, filter.c_str(), 1);
}

void Observer::run() {
    sigset_t brokenPipe;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);
    mosquitto_connect(client, socket.c_str(), 0, 60);
    while (!stopping) {
        if (mosquitto_loop(client, 20, 1) != MOSQ_ERR_SUCCESS) {
            std::this_thread::sleep_for(5ms);
            mosquitto_reconnect(client);
        }
    }
    mosquitto_disconnect(client);
}

std::vector<Observer::Message> Observer::messages() const {
    const std::lock_guard lock(mutex);
    return received;
}

std::vector<Observer::Message> Observer::messages(const std::string& topic) const {
    std::vector<Message> all = messages();
    std::erase_if(all, [&](const Message& message) { return message.topic != topic; });
    return all;
}

std::optional<std::string> Observer::last(const std::string& topic) const {
    const std::vector<Message> all = messages(topic);
    return all.empty() ? std::nullopt : std::optional(all.back().payload);
}

void Observer::clear() {
    const std::lock_guard lock(mutex);
    received.clear();
}

bool Observer::waitUntil(const std::function<bool()>& condition,
                         std::chrono::milliseconds most) const {
    const auto end = std::chrono::steady_clock::now() + most;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::unique_lock lock(mutex);
        changed.wait_for(lock, 5ms);
    }
    return true;
}

bool Observer::sees(const std::string& topic, const std::string& text) const {
    return waitUntil([&] {
        const auto payload = last(topic);
        return payload && payload->find(text) != std::string::npos;
    });
}

bool Observer::sees(const std::string& topic, std::size_t count) const {
    return waitUntil([&] { return messages(topic).size() >= count; });
}

void Observer::publish(const std::string& topic, const std::string& payload, bool retain) {
    mosquitto* publisher = mosquitto_new(nullptr, true, nullptr);
    std::atomic<bool> acknowledged{false};
    mosquitto_user_data_set(publisher, &acknowledged);
    mosquitto_publish_callback_set(publisher, [](mosquitto*, void* done, int) {
        *static_cast<std::atomic<bool>*>(done) = true;
    });
    mosquitto_connect(publisher, socket.c_str(), 0, 60);
    mosquitto_publish(publisher, nullptr, topic.c_str(), static_cast<int>(payload.size()),
                      payload.data(), 1, retain);
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (!acknowledged && std::chrono::steady_clock::now() < end) {
        mosquitto_loop(publisher, 20, 1);
    }
    mosquitto_disconnect(publisher);
    mosquitto_destroy(publisher);
    if (!acknowledged) {
        throw std::runtime_error("the broker did not take a message");
    }
}
