#pragma once

#include <functional>
#include <memory>

struct OverlayProperties;

/// Follows one overlay of the overlay service: each change of its size or position is passed on,
/// with both as they are now, as an OverlayPropertiesChangedMessage on the default main context.
/// What the service does not tell of them is asked for.
///
/// Copies share one subscription; it ends with the last of them. A callback that runs meanwhile is
/// not waited for. Any thread may make, copy and disconnect one; a single object is for one thread
/// at a time.
class OverlayPropertySubscription {
public:
    using Callback = std::function<void(const OverlayProperties&)>;

    /// Follows nothing.
    OverlayPropertySubscription() = default;
    /// Throws std::runtime_error when the service cannot be reached or can have no such overlay.
    OverlayPropertySubscription(int overlayId, const Callback& callback);

    /// Gives up this object's share; without one nothing happens.
    void disconnect();

    bool isConnected() const { return connection != nullptr; }

private:
    class Connection;

    std::shared_ptr<Connection> connection;
};
