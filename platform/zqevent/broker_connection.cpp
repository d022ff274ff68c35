#include "zqevent/broker_connection.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <poll.h>
#include <signal.h>

#include <mutex>
#include <utility>

namespace {

constexpr int keepAliveSeconds = 10;
constexpr int atLeastOnce = 1;

/// The library lets the whole process ignore SIGPIPE whenever it makes a client. That is not its
/// business: put back what was there. The thread that uses a client blocks the signal.
class KeepSigpipe {
public:
    KeepSigpipe() { sigaction(SIGPIPE, nullptr, &before); }
    ~KeepSigpipe() { sigaction(SIGPIPE, &before, nullptr); }
    KeepSigpipe(const KeepSigpipe&) = delete;
    KeepSigpipe& operator=(const KeepSigpipe&) = delete;

private:
    struct sigaction before {};
};

mosquitto* newClient(const std::string& id, void* owner) {
    static std::once_flag once;
    std::call_once(once, mosquitto_lib_init);
    const KeepSigpipe keep;
    return mosquitto_new(id.c_str(), true, owner);
}

std::vector<unsigned> identifiersOf(const mosquitto_property* properties) {
    std::vector<unsigned> identifiers;
    std::uint32_t identifier = 0;
    const mosquitto_property* found = mosquitto_property_read_varint(
        properties, MQTT_PROP_SUBSCRIPTION_IDENTIFIER, &identifier, false);
    while (found) {
        identifiers.push_back(identifier);
        found = mosquitto_property_read_varint(found, MQTT_PROP_SUBSCRIPTION_IDENTIFIER,
                                               &identifier, true);
    }
    return identifiers;
}

}  // namespace

BrokerConnection::BrokerConnection(const BrokerAddress& where, const std::string& willTopic,
                                   const std::string& willPayload, Callbacks toCall)
    : address(where), callbacks(std::move(toCall)), client(newClient(where.clientId, this)) {
    if (!client) {
        lost = true;
        return;
    }
    mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_will_set(client, willTopic.c_str(), static_cast<int>(willPayload.size()),
                       willPayload.data(), atLeastOnce, true);
    mosquitto_connect_v5_callback_set(
        client, [](mosquitto*, void* self, int reason, int, const mosquitto_property*) {
            auto* connection = static_cast<BrokerConnection*>(self);
            if (reason != 0) {
                connection->lost = true;
                return;
            }
            connection->connected = true;
            connection->callbacks.connected();
        });
    mosquitto_publish_v5_callback_set(
        client, [](mosquitto*, void* self, int message, int reason, const mosquitto_property*) {
            static_cast<BrokerConnection*>(self)->callbacks.acknowledged(message, reason < 0x80);
        });
    mosquitto_message_v5_callback_set(
        client, [](mosquitto*, void* self, const mosquitto_message* message,
                   const mosquitto_property* properties) {
            static_cast<BrokerConnection*>(self)->callbacks.received(
                {message->topic,
                 std::string(static_cast<const char*>(message->payload),
                             static_cast<std::size_t>(message->payloadlen)),
                 message->retain, identifiersOf(properties)});
        });
}

BrokerConnection::~BrokerConnection() {
    mosquitto_destroy(client);
}

bool BrokerConnection::open() {
    if (!lost) {
        check(
            mosquitto_connect_async(client, address.host.c_str(), address.port, keepAliveSeconds));
    }
    return !lost;
}

bool BrokerConnection::publish(const std::string& topic, const std::string& payload, bool retain,
                               int& message) {
    const int result =
        mosquitto_publish_v5(client, &message, topic.c_str(), static_cast<int>(payload.size()),
                             payload.data(), atLeastOnce, retain, nullptr);
    const bool isUnsendable = result == MOSQ_ERR_OVERSIZE_PACKET ||
                              result == MOSQ_ERR_PAYLOAD_SIZE || result == MOSQ_ERR_INVAL ||
                              result == MOSQ_ERR_MALFORMED_UTF8;
    if (!isUnsendable) {
        check(result);
    }
    return !isUnsendable;
}

void BrokerConnection::subscribe(const std::string& filter, unsigned identifier) {
    mosquitto_property* properties = nullptr;
    mosquitto_property_add_varint(&properties, MQTT_PROP_SUBSCRIPTION_IDENTIFIER, identifier);
    check(mosquitto_subscribe_v5(client, nullptr, filter.c_str(), atLeastOnce, 0, properties));
    mosquitto_property_free_all(&properties);
}

void BrokerConnection::unsubscribe(const std::string& filter) {
    check(mosquitto_unsubscribe(client, nullptr, filter.c_str()));
}

void BrokerConnection::disconnect() {
    check(mosquitto_disconnect(client));
}

void BrokerConnection::service(short events) {
    if (!lost && (events & (POLLIN | POLLHUP | POLLERR))) {
        check(mosquitto_loop_read(client, 1));
    }
    if (!lost && (events & POLLOUT)) {
        check(mosquitto_loop_write(client, 1));
    }
    if (!lost) {
        check(mosquitto_loop_misc(client));
    }
}

int BrokerConnection::socket() const {
    return lost ? -1 : mosquitto_socket(client);
}

short BrokerConnection::wantedEvents() const {
    return static_cast<short>(POLLIN | (mosquitto_want_write(client) ? POLLOUT : 0));
}

void BrokerConnection::check(int result) {
    lost = lost || result != MOSQ_ERR_SUCCESS || mosquitto_socket(client) < 0;
}
