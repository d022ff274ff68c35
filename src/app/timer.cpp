#include "app/timer.h"

Timer::Timer(long length) : duration(length) {}

void Timer::start(const long& now) {
    if (!started) {
        restart(now);
    }
}

void Timer::restart(const long& now) {
    started = true;
    startTime = now;
}

void Timer::stop() {
    started = false;
}

bool Timer::reachedEnd(const long& now) const {
    return started && now - startTime > duration;
}
