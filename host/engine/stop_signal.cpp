#include "engine/stop_signal.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

StopSignal::StopSignal() : event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!event) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

void StopSignal::stop() const {
    const std::uint64_t one = 1;
    // A counter that is full is as readable as one that was raised.
    [[maybe_unused]] const auto written = write(event.get(), &one, sizeof one);
}

bool StopSignal::stopped() const {
    pollfd waiting = {event.get(), POLLIN, 0};
    return poll(&waiting, 1, 0) > 0;
}
