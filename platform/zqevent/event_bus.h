#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "zqevent/broker_connection.h"
#include "zqevent/event_keys.h"
#include "zqevent/topic_file.h"

/// What one bus is started with.
struct EventBusSettings {
    std::string host = "127.0.0.1";
    int port = 1883;
    std::string prefix = "tarnwatch";
    std::string stateFolder = "/run/device/state";
};

/// The bus of a process: what is declared and subscribed, what waits to be sent, and the thread
/// that keeps a connection to the broker.
///
/// Callers only change what stands under the mutex and wake the thread, so no call ever waits for
/// the broker, the disk or a callback. The thread alone touches the connection and the topic file,
/// never under the mutex. Callbacks go to the default main context and are called without it.
///
///            +--------- loss, back-off 50 ms .. 1 s ---------+
///            v                                               |
///   start -> Away --CONNACK: clear, state, online, events--> Connected -> stop: flush, offline
///
/// Retained topics are states: while the broker is away only the last value of each is kept, and
/// every connect sends them all again with their old times. Other events queue, at most 1,000 with
/// those not acknowledged; what was accepted survives a loss.
class EventBus : public std::enable_shared_from_this<EventBus> {
public:
    using Owner = const void*;

    static std::shared_ptr<EventBus> start(const EventBusSettings& settings);
    /// Stops, if stop() was not called.
    ~EventBus();
    EventBus(const EventBus&) = delete;
    EventBus& operator=(const EventBus&) = delete;

    /// Sends what waits for at most a second, then "offline", disconnects and ends the thread.
    void stop();

    // As the functions of the contract; `owner` stands for the handler.
    bool declare(Owner owner, const EventKeys& keys, bool stateless, unsigned& id,
                 ZQDeclarationCallback callback, void* userData, GError** error);
    bool undeclare(Owner owner, unsigned id, GError** error);
    bool send(Owner owner, unsigned id, const _ZQEvent& event, GError** error);
    bool subscribe(Owner owner, const EventKeys& keys, unsigned& id,
                   ZQSubscriptionCallback callback, void* userData, GError** error);
    bool unsubscribe(Owner owner, unsigned id, GError** error);
    /// Undeclares and unsubscribes all that is `owner`'s.
    void release(Owner owner);

private:
    using Clock = std::chrono::steady_clock;

    struct Declaration {
        Owner owner;
        bool stateless;
        EventKeys keys;  ///< with the present values if stateful
        std::string topic;
        std::string payload;  ///< the present state; empty if stateless
    };

    struct Subscription {
        Owner owner;
        std::string filter;
        ZQSubscriptionCallback callback;
        void* userData;
        std::map<std::string, std::string> last;  ///< payload by topic, against repetition
    };

    struct Message {
        std::string topic;
        std::string payload;
        bool retain;
        std::uint64_t serial;
    };

    /// A topic to be cleared, and the message that does it (0: none yet).
    using Clearings = std::map<std::string, std::uint64_t>;

    explicit EventBus(const EventBusSettings& settings);

    // Under the mutex, by callers and by the thread.
    Declaration* findDeclaration(Owner owner, unsigned id, GError** error);
    void enqueueState(const std::string& topic);
    bool enqueueEvent(const std::string& topic, std::string payload, GError** error);
    Message stateMessage(const std::string& topic);
    std::string presentPayload(const std::string& topic) const;
    bool isDeclaredState(const std::string& topic) const;
    void eraseDeclaration(std::map<unsigned, Declaration>::iterator position);
    void call(std::function<void()> callback);
    void deliver(unsigned subscription, std::shared_ptr<_ZQEvent> event);
    void wake() const;
    bool hasWork() const;
    std::set<std::string> topicsOnBus() const;

    // The thread.
    void run();
    void connectWhenDue();
    void waitAndService();
    int waitMilliseconds() const;
    void noticeLoss();
    void sayGoodbye();
    void serviceUntil(Clock::time_point end, const std::function<bool()>& done);

    void onConnected();
    void onAcknowledged(int message, bool accepted);
    void onReceived(BrokerMessage message);
    bool isNews(Subscription& subscription, const BrokerMessage& message) const;

    void pump();
    bool saveTopics();
    std::optional<Message> takeMessage();
    void publish(Message message);
    void updateSubscriptions();

    // The default main context.
    static gboolean runCallbacks(gpointer self);

    const EventBusSettings settings;
    const std::string statusTopic;
    const int wakeDescriptor;  ///< owned
    TopicFile topicFile;       ///< the thread's

    mutable std::mutex mutex;
    // Guarded by the mutex.
    std::map<unsigned, Declaration> declarations;
    std::map<unsigned, Subscription> subscriptions;
    std::map<std::string, unsigned> filters;  ///< identifier by filter, of those subscribed
    std::deque<std::string> newFilters;       ///< to be subscribed
    std::deque<std::string> oldFilters;       ///< to be unsubscribed
    std::deque<Message> outbox;               ///< not handed to the connection yet
    std::set<std::string> stale;              ///< states to be sent when the outbox is empty
    Clearings clearings;
    std::deque<std::function<void()>> callbacks;
    bool callbacksScheduled = false;
    bool callbacksDropped = false;
    std::size_t waitingEvents = 0;  ///< events without state, in the outbox or not acknowledged
    std::size_t waitingStates = 0;  ///< states in the outbox
    unsigned lastDeclaration = 0;
    unsigned lastSubscription = 0;
    unsigned lastIdentifier = 0;
    std::uint64_t lastSerial = 0;
    bool connected = false;
    bool changedWhileAway = false;
    bool topicsChanged = false;
    bool stopping = false;

    // The thread's own.
    std::unique_ptr<BrokerConnection> connection;
    std::map<int, Message> inFlight;  ///< by the connection's id of the message
    Clock::time_point nextAttempt;
    Clock::time_point answerDue;
    Clock::time_point connectedSince;
    std::chrono::milliseconds backOff;
    Clock::time_point end = Clock::time_point::max();
    bool reportedAway = false;
    bool reportedRefusal = false;
    bool reportedNonsense = false;

    std::thread thread;
};
