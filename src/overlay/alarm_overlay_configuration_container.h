#pragma once

#include <map>
#include <vector>

#include "device/stream_settings.h"

/// What a configuration says about the alarm overlay. A plain value.
struct AlarmOverlayConfigurationContainer {
    /// The ids of the profiles that have it switched on, in document order.
    std::vector<int> profileIds;

    /// By camera number: the chosen resolution (-1 by -1 without one, 0 by 0 for one that the
    /// device does not list), the camera's rotation, and a mirror flag that is false.
    std::map<int, StreamSettings> streamSettings;
};
