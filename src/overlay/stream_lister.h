#pragma once

#include "overlay/object_follower.h"

/// Follows the device's video streams: a StreamAddedMessage or StreamRemovedMessage for each that
/// comes or goes, on the default main context.
class StreamLister {
public:
    using Callback = ObjectFollower::Callback;

    /// Throws std::runtime_error when the graphics service cannot be reached.
    explicit StreamLister(Callback callback);

    /// The reply of GetManagedObjects (the caller unrefs it). Throws std::runtime_error. Blocks;
    /// any thread may call.
    GVariant* listStreams() const;

private:
    ObjectFollower follower;
};
