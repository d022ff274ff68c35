#pragma once

#include <memory>

#include "overlay/object_follower.h"

struct ExternalOverlay;

/// Follows the overlays at the overlay service: an OverlayAddedMessage or OverlayRemovedMessage for
/// each that comes or goes, on the default main context.
class OverlaySubscription {
public:
    using Callback = ObjectFollower::Callback;

    /// Throws std::runtime_error when the overlay service cannot be reached.
    explicit OverlaySubscription(Callback callback);

    /// The reply of GetManagedObjects (the caller unrefs it). Throws std::runtime_error. Blocks;
    /// any thread may call.
    GVariant* listOverlays() const;

    /// An overlay with these properties, "a{sv}", whose changes the callback hears of. Null, and a
    /// line in the log, when a property is missing. Throws std::runtime_error when its changes
    /// cannot be followed.
    static std::unique_ptr<ExternalOverlay> createOverlay(GVariant* properties, Callback callback);

private:
    ObjectFollower follower;
};
