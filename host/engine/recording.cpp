#include "engine/recording.h"

#include <algorithm>

namespace {

constexpr std::int64_t usualInterval = 100'000'000;

}  // namespace

std::int64_t Recording::medianInterval() const {
    std::vector<std::int64_t> intervals;
    for (std::size_t i = 1; i < scenes.size(); ++i) {
        intervals.push_back(sceneTime(scenes[i]) - sceneTime(scenes[i - 1]));
    }
    if (intervals.empty()) {
        return usualInterval;
    }
    const auto middle = intervals.begin() + static_cast<std::ptrdiff_t>(intervals.size() / 2);
    std::nth_element(intervals.begin(), middle, intervals.end());
    return *middle > 0 ? *middle : usualInterval;
}
