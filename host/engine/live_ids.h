#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include "engine/scene_record.h"

/// The ids that a stream of scenes has shown and not yet ended by an event.
class LiveIds {
public:
    void follow(const SceneRecord& scene);
    /// Forgets the ids and gives them back, ascending.
    std::vector<std::int32_t> end();

private:
    std::set<std::int32_t> ids;
};
