#pragma once

#include <cstdint>

/// One registered observer of the interval timer. Times are monotonic microseconds.
class IntervalTimerObserverData {
public:
    /// The first notification is due `interval` from now.
    IntervalTimerObserverData(int id, long interval, void (*callback)(int));
    virtual ~IntervalTimerObserverData() = default;
    IntervalTimerObserverData(const IntervalTimerObserverData&) = delete;
    IntervalTimerObserverData& operator=(const IntervalTimerObserverData&) = delete;

    /// Calls the callback, then lets the next interval begin: it counts from the end of a
    /// notification.
    void notify();
    void updateNotificationTime();

    int getId() const { return id; }
    std::int64_t getNextNotification() const { return nextNotification; }

private:
    const std::int32_t id;
    const std::int64_t interval;
    std::int64_t nextNotification = 0;
    void (*const callback)(int id);
};
