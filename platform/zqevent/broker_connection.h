#pragma once

#include <functional>
#include <string>
#include <vector>

struct mosquitto;

/// Where the broker is and who we are to it.
struct BrokerAddress {
    std::string host;  ///< an address, or with port 0 the path of a Unix socket
    int port = 0;
    std::string clientId;  ///< one connection at a time has it; a newer one ends the older
};

/// A message from the broker.
struct BrokerMessage {
    std::string topic;
    std::string payload;
    bool retained = false;              ///< brought by a subscription, not by its sender just now
    std::vector<unsigned> identifiers;  ///< of the subscriptions it matched
};

/// One connection to the broker, from the attempt to its loss; a new attempt is a new object, so
/// nothing of an old one is ever sent on a new one.
///
///   [made] --open()--> Connecting --CONNACK--> Connected --loss, refusal--> Lost
///
/// Used by one thread, which waits for socket() and calls service(). Nothing blocks. Callbacks come
/// from within service() and publish().
class BrokerConnection {
public:
    struct Callbacks {
        std::function<void()> connected;
        std::function<void(int message, bool accepted)> acknowledged;
        std::function<void(BrokerMessage)> received;
    };

    /// With a last will: `willPayload`, retained, under `willTopic`.
    BrokerConnection(const BrokerAddress& address, const std::string& willTopic,
                     const std::string& willPayload, Callbacks callbacks);
    /// Closes the connection as it is; unless disconnect() went out before, the broker sends the
    /// will.
    ~BrokerConnection();
    BrokerConnection(const BrokerConnection&) = delete;
    BrokerConnection& operator=(const BrokerConnection&) = delete;

    /// Begins to connect. False if that is refused at once.
    bool open();

    /// Hands a message to the library, at least once, acknowledged later under `message`. False if
    /// the message cannot be sent at all; a lost connection shows in isLost().
    bool publish(const std::string& topic, const std::string& payload, bool retain, int& message);
    /// Subscribes a filter; what it brings carries `identifier` (1..268435455).
    void subscribe(const std::string& filter, unsigned identifier);
    void unsubscribe(const std::string& filter);
    /// Says goodbye; the broker then closes the connection and sends no will.
    void disconnect();

    /// Does what can be done without waiting. `events` is what poll() found, 0 for nothing; call it
    /// at least once a second.
    void service(short events);

    /// The descriptor to wait for, -1 if there is none, and the events to wait for.
    int socket() const;
    short wantedEvents() const;
    bool isConnected() const { return connected && !lost; }
    bool wasConnected() const { return connected; }
    bool isLost() const { return lost; }

private:
    void check(int result);

    const BrokerAddress address;
    const Callbacks callbacks;
    mosquitto* client;  ///< owned
    bool connected = false;
    bool lost = false;
};
