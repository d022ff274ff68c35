#include "engine/picture_pace.h"

#include <algorithm>

namespace {

constexpr std::int64_t defaultInterval = 100'000'000;
constexpr std::int64_t longestGap = 10'000'000'000;
constexpr std::size_t intervalsKept = 1000;

}  // namespace

PicturePace::PicturePace(std::int64_t usual)
    : usualInterval(usual > 0 && usual <= longestGap ? usual : defaultInterval) {}

void PicturePace::restart(std::int64_t time) {
    offset.reset();
    passStart = std::max(passStart, time);
    if (last) {
        passStart = std::max(passStart, *last + interval());
    }
}

std::int64_t PicturePace::due(std::optional<std::int64_t> streamTime) {
    const bool first = !offset && (!last || passStart > *last);
    std::int64_t time = first ? passStart : *last + interval();
    if (!first && offset && streamTime) {
        const std::int64_t told = *streamTime + *offset;
        if (told > *last && told - *last <= longestGap) {
            learn(told - *last);
            time = told;
        }
    }
    if (streamTime) {
        offset = time - *streamTime;
    }
    last = time;
    return time;
}

void PicturePace::slip(std::int64_t duration) {
    if (last) {
        *last += duration;
    }
    if (offset) {
        *offset += duration;
    }
}

void PicturePace::learn(std::int64_t length) {
    if (intervals.size() < intervalsKept) {
        intervals.push_back(length);
    }
}

std::int64_t PicturePace::interval() const {
    if (intervals.empty()) {
        return usualInterval;
    }
    std::vector<std::int64_t> sorted = intervals;
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
    return *middle;
}
