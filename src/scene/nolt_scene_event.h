#pragma once

#include <cstdint>
#include <vector>

/// A merge or a split of objects.
class NoltSceneEvent {
public:
    NoltSceneEvent(int id, std::vector<std::int32_t> relatedIds);

    std::int32_t id;  ///< of a merge the surviving object, of a split the source
    std::vector<std::int32_t> relatedIds;  ///< the objects merged in, or split off
};
