#pragma once

#include <memory>

class AlarmOverlayMessage;

/// Follows the property changes of one overlay of the overlay service, and passes each on as an
/// OverlayPropertiesChangedMessage on the default main context.
///
/// Copies share one subscription; it ends with the last of them. A callback that runs meanwhile is
/// not waited for. Any thread may make, copy and disconnect one; a single object is for one thread
/// at a time.
class OverlayPropertySubscription {
public:
    using Callback = void (*)(const AlarmOverlayMessage&);

    /// Follows nothing.
    OverlayPropertySubscription() = default;
    /// Throws std::runtime_error when the service cannot be reached.
    OverlayPropertySubscription(int overlayId, Callback callback);

    /// Gives up this object's share; without one nothing happens.
    void disconnect();

    bool isConnected() const { return connection != nullptr; }

private:
    class Connection;

    std::shared_ptr<Connection> connection;
};
