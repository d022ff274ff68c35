#pragma once

#include <string>

/// The token of one declared event: its key in the event wrapper, "invalid" when it could not be
/// declared, and its camera.
struct StateEventProducerHandle {
    std::string key = "invalid";
    int cameraId = -1;

    friend bool operator==(const StateEventProducerHandle&,
                           const StateEventProducerHandle&) = default;
};
