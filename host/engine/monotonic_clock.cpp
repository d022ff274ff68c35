#include "engine/monotonic_clock.h"

#include <poll.h>

#include <algorithm>
#include <ctime>

#include "engine/stop_signal.h"

namespace {

constexpr std::int64_t second = 1'000'000'000;

timespec toTimespec(std::int64_t nanoseconds) {
    return {static_cast<time_t>(nanoseconds / second), static_cast<long>(nanoseconds % second)};
}

}  // namespace

std::int64_t MonotonicClock::now() const {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * second + time.tv_nsec;
}

bool MonotonicClock::waitUntil(std::int64_t time) {
    while (!stop.stopped()) {
        const std::int64_t left = time - now();
        if (left <= 0) {
            return true;
        }
        pollfd waiting = {stop.descriptor(), POLLIN, 0};
        const timespec limit = toTimespec(left);
        ppoll(&waiting, 1, &limit, nullptr);
    }
    return false;
}

bool MonotonicClock::isStopped() const {
    return stop.stopped();
}

bool MonotonicClock::waitReadable(int descriptor, std::int64_t time) {
    while (!stop.stopped()) {
        const std::int64_t left = std::max<std::int64_t>(time - now(), 0);
        pollfd waiting[2] = {{stop.descriptor(), POLLIN, 0}, {descriptor, POLLIN, 0}};
        const timespec limit = toTimespec(left);
        if (ppoll(waiting, 2, &limit, nullptr) > 0 && waiting[1].revents != 0) {
            return true;
        }
        if (left == 0) {
            return false;
        }
    }
    return false;
}
