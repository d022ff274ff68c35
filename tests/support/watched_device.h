#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "support/wrapped_device.h"

/// A device for tests of guards and cameras: what they publish, as texts.
class WatchedDevice : public WrappedDevice {
public:
    static inline const Parameters plain = {};
    static inline const Parameters mechanicalPTZ = {{"root.Properties.PTZ.PTZ", "yes"}};

    explicit WatchedDevice(const Parameters& parameters = plain) : WrappedDevice(parameters) {}

    /// Monotonic microseconds.
    static long now();

    /// The data of the visual confirmation events sent since the last call, in order.
    std::vector<std::string> takeFrames();
    /// The levels of all motion level events sent, in order.
    static std::vector<std::string> motionLevels();

    static bool isDeclared(const std::string& name);
    /// Waits until an event stands on the bus no more; false after ten seconds.
    static bool isUndeclaredInTime(const std::string& name);
    static void failNextDeclaration();

private:
    std::size_t framesTaken = 0;
};
