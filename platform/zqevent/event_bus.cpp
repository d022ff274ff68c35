#include "zqevent/event_bus.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "zqevent/event_format.h"

namespace {

using namespace std::chrono_literals;

constexpr std::size_t mostWaiting = 1000;
// What a broker takes before it acknowledges, by default: more would only wait elsewhere.
constexpr std::size_t mostInFlight = 20;
constexpr std::size_t mostRememberedTopics = 1000;
constexpr auto firstBackOff = 50ms;
constexpr auto longestBackOff = 1000ms;
constexpr auto longestHandshake = 5s;
constexpr auto longestWait = 1000ms;
constexpr auto longestFlush = 1s;
constexpr auto longestGoodbye = 250ms;

constexpr const char* online = R"({"online":true})";
constexpr const char* offline = R"({"online":false})";

/// Signals are the application's business: a thread started under this takes none.
class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

private:
    sigset_t before;
};

void refuse(GError** error, ZQEventError code, const char* reason) {
    g_set_error_literal(error, ZQ_EVENT_ERROR, code, reason);
}

/// Whether every key of an event was declared, with a value of the declared type.
bool fits(const EventKeys& declared, const EventKeys& values, GError** error) {
    for (const EventKey& value : values) {
        const EventKey* key = declared.find(value.name, value.nameSpace);
        if (!key) {
            refuse(error, ZQ_EVENT_ERROR_NOT_FOUND, "The event has a key that was not declared");
            return false;
        }
        if (key->type != value.type || std::holds_alternative<std::monostate>(value.value)) {
            refuse(error, ZQ_EVENT_ERROR_TYPE, "The event has a value of another type, or none");
            return false;
        }
    }
    return true;
}

/// The declared keys with the event's values; topic and source stand as declared.
EventKeys merged(EventKeys declared, const EventKeys& values) {
    for (const EventKey& value : values) {
        EventKey* key = declared.change(value.name.c_str(), value.nameSpace.c_str(), nullptr);
        if (!key->isSource && !key->topicLevel()) {
            key->value = value.value;
        }
    }
    return declared;
}

int inMilliseconds(std::chrono::steady_clock::duration duration) {
    const auto rounded = std::chrono::ceil<std::chrono::milliseconds>(duration);
    return static_cast<int>(
        std::clamp(rounded, 0ms, std::chrono::milliseconds(longestWait)).count());
}

}  // namespace

std::shared_ptr<EventBus> EventBus::start(const EventBusSettings& settings) {
    std::shared_ptr<EventBus> bus(new EventBus(settings));
    const BlockedSignals blocked;
    bus->thread = std::thread([raw = bus.get()] { raw->run(); });
    return bus;
}

EventBus::EventBus(const EventBusSettings& given)
    : settings(given),
      statusTopic(given.prefix + "/status"),
      wakeDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      topicFile(given.stateFolder, given.prefix + "/onvif-ej/"),
      backOff(firstBackOff) {}

EventBus::~EventBus() {
    stop();
    close(wakeDescriptor);
}

void EventBus::stop() {
    {
        const std::lock_guard lock(mutex);
        stopping = true;
        wake();
    }
    if (thread.joinable()) {
        thread.join();
    }
}

// Calls

bool EventBus::declare(Owner owner, const EventKeys& keys, bool stateless, unsigned& id,
                       ZQDeclarationCallback callback, void* userData, GError** error) {
    auto topic = EventFormat::topic(settings.prefix, keys, error);
    if (!topic) {
        return false;
    }
    g_autoptr(GDateTime) now = g_date_time_new_now_utc();
    std::string payload = stateless ? std::string() : EventFormat::payload(keys, now);

    const std::lock_guard lock(mutex);
    id = ++lastDeclaration;
    declarations[id] = {owner, stateless, keys, *topic, std::move(payload)};
    if (!stateless) {
        clearings.erase(*topic);
        topicsChanged = true;
        enqueueState(*topic);
    }
    if (callback) {
        call([callback, id, userData] { callback(id, userData); });
    }
    wake();
    return true;
}

bool EventBus::undeclare(Owner owner, unsigned id, GError** error) {
    const std::lock_guard lock(mutex);
    if (!findDeclaration(owner, id, error)) {
        return false;
    }
    eraseDeclaration(declarations.find(id));
    wake();
    return true;
}

bool EventBus::send(Owner owner, unsigned id, const _ZQEvent& event, GError** error) {
    const std::lock_guard lock(mutex);
    Declaration* declaration = findDeclaration(owner, id, error);
    if (!declaration || !fits(declaration->keys, event.set.keys, error)) {
        return false;
    }
    EventKeys keys = merged(declaration->keys, event.set.keys);
    std::string payload = EventFormat::payload(keys, event.time);
    if (declaration->stateless) {
        return enqueueEvent(declaration->topic, std::move(payload), error);
    }
    declaration->keys = std::move(keys);
    declaration->payload = std::move(payload);
    enqueueState(declaration->topic);
    wake();
    return true;
}

bool EventBus::subscribe(Owner owner, const EventKeys& keys, unsigned& id,
                         ZQSubscriptionCallback callback, void* userData, GError** error) {
    auto filter = EventFormat::filter(settings.prefix, keys, error);
    if (!filter) {
        return false;
    }
    const std::lock_guard lock(mutex);
    id = ++lastSubscription;
    newFilters.push_back(*filter);
    subscriptions[id] = {owner, std::move(*filter), callback, userData, {}};
    wake();
    return true;
}

bool EventBus::unsubscribe(Owner owner, unsigned id, GError** error) {
    const std::lock_guard lock(mutex);
    const auto found = subscriptions.find(id);
    if (found == subscriptions.end() || found->second.owner != owner) {
        refuse(error, ZQ_EVENT_ERROR_NOT_FOUND, "No such subscription");
        return false;
    }
    oldFilters.push_back(found->second.filter);
    subscriptions.erase(found);
    wake();
    return true;
}

void EventBus::release(Owner owner) {
    const std::lock_guard lock(mutex);
    for (auto next = declarations.begin(); next != declarations.end();) {
        const auto position = next++;
        if (position->second.owner == owner) {
            eraseDeclaration(position);
        }
    }
    std::erase_if(subscriptions, [&](const auto& entry) {
        if (entry.second.owner != owner) {
            return false;
        }
        oldFilters.push_back(entry.second.filter);
        return true;
    });
    wake();
}

// Under the mutex

EventBus::Declaration* EventBus::findDeclaration(Owner owner, unsigned id, GError** error) {
    const auto found = declarations.find(id);
    if (found == declarations.end() || found->second.owner != owner) {
        refuse(error, ZQ_EVENT_ERROR_NOT_FOUND, "No such declaration");
        return nullptr;
    }
    return &found->second;
}

void EventBus::eraseDeclaration(std::map<unsigned, Declaration>::iterator position) {
    const bool stateless = position->second.stateless;
    const std::string topic = std::move(position->second.topic);
    declarations.erase(position);
    if (stateless) {
        return;
    }
    if (!isDeclaredState(topic)) {
        clearings[topic] = 0;
    }
    enqueueState(topic);
}

bool EventBus::isDeclaredState(const std::string& topic) const {
    return std::any_of(declarations.begin(), declarations.end(), [&](const auto& entry) {
        return !entry.second.stateless && entry.second.topic == topic;
    });
}

/// The newest declaration's state of a topic; empty, which clears it, if there is none.
std::string EventBus::presentPayload(const std::string& topic) const {
    const auto found = std::find_if(
        declarations.rbegin(), declarations.rend(),
        [&](const auto& entry) { return !entry.second.stateless && entry.second.topic == topic; });
    return found == declarations.rend() ? std::string() : found->second.payload;
}

EventBus::Message EventBus::stateMessage(const std::string& topic) {
    Message message{topic, presentPayload(topic), true, ++lastSerial};
    const auto clearing = clearings.find(topic);
    if (clearing != clearings.end()) {
        clearing->second = message.serial;
    }
    return message;
}

/// While connected each state is sent, in order; when too many wait, only the last of each.
void EventBus::enqueueState(const std::string& topic) {
    if (!connected) {
        changedWhileAway = true;
    } else if (waitingStates >= mostWaiting || !stale.empty()) {
        stale.insert(topic);
    } else {
        outbox.push_back(stateMessage(topic));
        ++waitingStates;
    }
}

bool EventBus::enqueueEvent(const std::string& topic, std::string payload, GError** error) {
    if (!connected) {
        refuse(error, ZQ_EVENT_ERROR_DISCONNECTED, "The broker is away");
        return false;
    }
    if (waitingEvents >= mostWaiting) {
        refuse(error, ZQ_EVENT_ERROR_FULL, "Too many events wait to be sent");
        return false;
    }
    outbox.push_back({topic, std::move(payload), false, ++lastSerial});
    ++waitingEvents;
    wake();
    return true;
}

void EventBus::call(std::function<void()> callback) {
    callbacks.push_back(std::move(callback));
    if (callbacksScheduled) {
        return;
    }
    callbacksScheduled = true;
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source, runCallbacks, new std::weak_ptr<EventBus>(weak_from_this()),
        [](gpointer self) { delete static_cast<std::weak_ptr<EventBus>*>(self); });
    g_source_attach(source, nullptr);
    g_source_unref(source);
}

void EventBus::wake() const {
    const std::uint64_t one = 1;
    // It can only fail when the counter is full, and then the thread is awake anyway.
    [[maybe_unused]] const ssize_t written = write(wakeDescriptor, &one, sizeof one);
}

std::set<std::string> EventBus::topicsOnBus() const {
    std::set<std::string> topics;
    for (const auto& [id, declaration] : declarations) {
        if (!declaration.stateless) {
            topics.insert(declaration.topic);
        }
    }
    for (const auto& [topic, serial] : clearings) {
        topics.insert(topic);
    }
    return topics;
}

// The default main context

gboolean EventBus::runCallbacks(gpointer self) {
    const std::shared_ptr<EventBus> bus = static_cast<std::weak_ptr<EventBus>*>(self)->lock();
    while (bus) {
        std::unique_lock lock(bus->mutex);
        if (bus->callbacks.empty()) {
            bus->callbacksScheduled = false;
            bus->callbacksDropped = false;
            break;
        }
        const std::function<void()> callback = std::move(bus->callbacks.front());
        bus->callbacks.pop_front();
        lock.unlock();
        callback();
    }
    return G_SOURCE_REMOVE;
}

// The thread

void EventBus::run() {
    pthread_setname_np(pthread_self(), "event bus");
    {
        const std::set<std::string> ofLastRun = topicFile.load();
        const std::lock_guard lock(mutex);
        for (const std::string& topic : ofLastRun) {
            if (!isDeclaredState(topic)) {
                clearings[topic] = 0;
            }
        }
    }
    while (true) {
        {
            const std::lock_guard lock(mutex);
            if (stopping && end == Clock::time_point::max()) {
                end = Clock::now() + longestFlush;
            }
            if (stopping && (Clock::now() >= end || !hasWork())) {
                break;
            }
        }
        connectWhenDue();
        waitAndService();
        pump();
    }
    sayGoodbye();
}

/// Whether something waits to be sent or acknowledged.
bool EventBus::hasWork() const {
    return changedWhileAway || !outbox.empty() || !inFlight.empty() || !stale.empty() ||
           !clearings.empty();
}

void EventBus::connectWhenDue() {
    if (connection || Clock::now() < nextAttempt) {
        return;
    }
    connection = std::make_unique<BrokerConnection>(
        BrokerAddress{settings.host, settings.port, settings.prefix + "-event-bus"}, statusTopic,
        offline,
        BrokerConnection::Callbacks{
            [this] { onConnected(); },
            [this](int message, bool accepted) { onAcknowledged(message, accepted); },
            [this](BrokerMessage message) { onReceived(std::move(message)); }});
    answerDue = Clock::now() + longestHandshake;
    if (!connection->open()) {
        noticeLoss();
    }
}

void EventBus::waitAndService() {
    pollfd descriptors[2] = {{wakeDescriptor, POLLIN, 0}, {-1, 0, 0}};
    if (connection) {
        descriptors[1] = {connection->socket(), connection->wantedEvents(), 0};
    }
    poll(descriptors, 2, waitMilliseconds());
    std::uint64_t wakes = 0;
    [[maybe_unused]] const ssize_t count = read(wakeDescriptor, &wakes, sizeof wakes);
    if (!connection) {
        return;
    }
    connection->service(descriptors[1].revents);
    const bool isTooSlow = !connection->isConnected() && Clock::now() >= answerDue;
    if (connection->isLost() || isTooSlow) {
        noticeLoss();
    }
}

int EventBus::waitMilliseconds() const {
    Clock::time_point until = Clock::now() + longestWait;
    until = std::min(until, end);
    if (!connection) {
        until = std::min(until, nextAttempt);
    }
    return inMilliseconds(until - Clock::now());
}

/// Back to Away: states are sent anew at the next connect, other events that were accepted wait.
void EventBus::noticeLoss() {
    // A connection that does not last is no reason to hurry.
    if (connection->wasConnected() && Clock::now() - connectedSince >= longestBackOff) {
        backOff = firstBackOff;
    }
    connection.reset();
    nextAttempt = Clock::now() + backOff;
    backOff = std::min<std::chrono::milliseconds>(backOff * 2, longestBackOff);
    if (!reportedAway) {
        syslog(LOG_WARNING, "Event bus: the broker is away\n");
        reportedAway = true;
    }
    const std::lock_guard lock(mutex);
    connected = false;
    changedWhileAway = changedWhileAway || waitingStates > 0 || !stale.empty();
    std::vector<Message> unacknowledged;
    for (auto& [id, message] : inFlight) {
        changedWhileAway = changedWhileAway || message.retain;
        unacknowledged.push_back(std::move(message));
    }
    inFlight.clear();
    std::sort(unacknowledged.begin(), unacknowledged.end(),
              [](const Message& a, const Message& b) { return a.serial < b.serial; });
    outbox.insert(outbox.begin(), std::make_move_iterator(unacknowledged.begin()),
                  std::make_move_iterator(unacknowledged.end()));
    std::erase_if(outbox, [](const Message& message) { return message.retain; });
    waitingStates = 0;
    stale.clear();
}

void EventBus::onConnected() {
    if (reportedAway) {
        syslog(LOG_NOTICE, "Event bus: the broker is back\n");
        reportedAway = false;
    }
    reportedRefusal = false;
    connectedSince = Clock::now();

    const std::lock_guard lock(mutex);
    std::vector<Message> first;
    for (auto& [topic, serial] : clearings) {
        serial = ++lastSerial;
        first.push_back({topic, "", true, serial});
    }
    std::set<std::string> seen;
    for (const auto& [id, declaration] : declarations) {
        if (!declaration.stateless && seen.insert(declaration.topic).second) {
            first.push_back(stateMessage(declaration.topic));
        }
    }
    // Who sees "online" finds every state as it is.
    first.push_back({statusTopic, online, true, ++lastSerial});
    waitingStates = first.size();
    outbox.insert(outbox.begin(), std::make_move_iterator(first.begin()),
                  std::make_move_iterator(first.end()));
    filters.clear();
    oldFilters.clear();
    newFilters.clear();
    for (const auto& [id, subscription] : subscriptions) {
        newFilters.push_back(subscription.filter);
    }
    topicsChanged = true;
    changedWhileAway = false;
    connected = true;
}

void EventBus::pump() {
    if (!connection || !connection->isConnected()) {
        return;
    }
    updateSubscriptions();
    while (!connection->isLost() && inFlight.size() < mostInFlight) {
        std::optional<Message> message = takeMessage();
        if (!message) {
            break;
        }
        publish(std::move(*message));
    }
    if (connection->isLost()) {
        noticeLoss();
    }
}

/// The next message; the file of topics is up to date with it.
std::optional<EventBus::Message> EventBus::takeMessage() {
    while (saveTopics()) {
    }
    const std::lock_guard lock(mutex);
    if (topicsChanged) {
        return std::nullopt;
    }
    if (waitingStates == 0) {
        for (const std::string& topic : std::exchange(stale, {})) {
            outbox.push_back(stateMessage(topic));
            ++waitingStates;
        }
    }
    if (outbox.empty()) {
        return std::nullopt;
    }
    Message message = std::move(outbox.front());
    outbox.pop_front();
    waitingStates -= message.retain ? 1 : 0;
    return message;
}

/// Writes the file of topics if they changed, and tells whether they did. What may come to stand on
/// the bus is in the file before it is sent.
bool EventBus::saveTopics() {
    std::set<std::string> topics;
    {
        const std::lock_guard lock(mutex);
        if (!std::exchange(topicsChanged, false)) {
            return false;
        }
        topics = topicsOnBus();
    }
    topicFile.save(topics);
    return true;
}

void EventBus::publish(Message message) {
    int id = 0;
    if (connection->publish(message.topic, message.payload, message.retain, id)) {
        inFlight.emplace(id, std::move(message));
        return;
    }
    syslog(LOG_ERR, "Event bus: a message on %s cannot be sent\n", message.topic.c_str());
    const std::lock_guard lock(mutex);
    waitingEvents -= message.retain ? 0 : 1;
}

void EventBus::onAcknowledged(int id, bool accepted) {
    const auto found = inFlight.find(id);
    if (found == inFlight.end()) {
        return;
    }
    const Message message = std::move(found->second);
    inFlight.erase(found);
    if (!accepted && !std::exchange(reportedRefusal, true)) {
        syslog(LOG_WARNING, "Event bus: the broker refused a message on %s\n",
               message.topic.c_str());
    }
    const std::lock_guard lock(mutex);
    waitingEvents -= message.retain ? 0 : 1;
    const auto clearing = clearings.find(message.topic);
    if (clearing != clearings.end() && clearing->second == message.serial) {
        clearings.erase(clearing);
        topicsChanged = true;
    }
}

// Subscriptions

void EventBus::updateSubscriptions() {
    std::deque<std::string> added;
    std::deque<std::string> removed;
    std::map<std::string, unsigned> identifiers;
    {
        const std::lock_guard lock(mutex);
        added.swap(newFilters);
        removed.swap(oldFilters);
        const auto isWanted = [this](const std::string& filter) {
            return std::any_of(subscriptions.begin(), subscriptions.end(),
                               [&](const auto& entry) { return entry.second.filter == filter; });
        };
        std::erase_if(added, [&](const std::string& filter) { return !isWanted(filter); });
        std::erase_if(removed, [&](const std::string& filter) {
            return isWanted(filter) || filters.erase(filter) == 0;
        });
        for (const std::string& filter : added) {
            const auto [position, isNew] = filters.try_emplace(filter, lastIdentifier + 1);
            lastIdentifier += isNew ? 1 : 0;
            identifiers.insert(*position);
        }
    }
    for (const std::string& filter : removed) {
        connection->unsubscribe(filter);
    }
    // A filter that is subscribed already is subscribed again: that brings the states once more,
    // which the new subscription has not seen yet.
    for (const auto& [filter, identifier] : identifiers) {
        connection->subscribe(filter, identifier);
    }
}

void EventBus::onReceived(BrokerMessage message) {
    g_autoptr(GDateTime) now = g_date_time_new_now_utc();
    const std::shared_ptr<_ZQEvent> event(
        message.payload.empty() ? nullptr : EventFormat::parse(message.payload, now));
    if (!event && !message.payload.empty()) {
        if (!std::exchange(reportedNonsense, true)) {
            syslog(LOG_WARNING, "Event bus: a message on %s is no event\n", message.topic.c_str());
        }
        return;
    }
    reportedNonsense = false;
    const std::lock_guard lock(mutex);
    for (auto& [id, subscription] : subscriptions) {
        const auto identifier = filters.find(subscription.filter);
        const bool matches =
            identifier != filters.end() &&
            std::count(message.identifiers.begin(), message.identifiers.end(), identifier->second);
        if (matches && isNews(subscription, message) && event) {
            deliver(id, event);
        }
    }
}

/// A state that a subscription brings is news if it is not what came last under its topic.
bool EventBus::isNews(Subscription& subscription, const BrokerMessage& message) const {
    const auto known = subscription.last.find(message.topic);
    const bool isRepetition =
        message.retained && known != subscription.last.end() && known->second == message.payload;
    if (subscription.last.size() >= mostRememberedTopics) {
        subscription.last.clear();
    }
    subscription.last[message.topic] = message.payload;
    return !isRepetition;
}

void EventBus::deliver(unsigned id, std::shared_ptr<_ZQEvent> event) {
    if (callbacks.size() >= mostWaiting) {
        callbacks.pop_front();
        if (!std::exchange(callbacksDropped, true)) {
            syslog(LOG_WARNING, "Event bus: events came faster than they were handled\n");
        }
    }
    call([this, id, event = std::move(event)] {
        std::unique_lock lock(mutex);
        const auto found = subscriptions.find(id);
        if (found == subscriptions.end()) {
            return;
        }
        const ZQSubscriptionCallback callback = found->second.callback;
        void* const userData = found->second.userData;
        lock.unlock();
        callback(id, new _ZQEvent(event->set.keys, event->time), userData);
    });
}

// The end

void EventBus::sayGoodbye() {
    if (connection && connection->isConnected()) {
        int id = 0;
        inFlight.clear();
        if (connection->publish(statusTopic, offline, true, id)) {
            inFlight.emplace(id, Message{statusTopic, offline, true, 0});
        }
        serviceUntil(Clock::now() + longestGoodbye, [this] { return inFlight.empty(); });
        // A broker that does not answer gets no goodbye either: then its will says the same.
        if (inFlight.empty()) {
            connection->disconnect();
            serviceUntil(Clock::now() + longestGoodbye, [this] { return connection->isLost(); });
        }
    }
    connection.reset();
    std::set<std::string> topics;
    {
        const std::lock_guard lock(mutex);
        connected = false;
        topics = topicsOnBus();
    }
    topicFile.save(topics);
}

void EventBus::serviceUntil(Clock::time_point deadline, const std::function<bool()>& done) {
    while (!connection->isLost() && !done() && Clock::now() < deadline) {
        pollfd descriptor = {connection->socket(), connection->wantedEvents(), 0};
        poll(&descriptor, 1, inMilliseconds(deadline - Clock::now()));
        connection->service(descriptor.revents);
    }
}
