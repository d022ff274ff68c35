#pragma once

#include <string>
#include <vector>

#include "engine/scene_record.h"

/// A checked recording: at least one scene, times from the recording's start and not decreasing.
struct Recording {
    std::string name;
    std::vector<SceneRecord> scenes;

    /// The median time between two scenes in nanoseconds; 100 ms where that says nothing.
    std::int64_t medianInterval() const;
};
