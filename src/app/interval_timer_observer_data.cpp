#include "app/interval_timer_observer_data.h"

#include <glib.h>

IntervalTimerObserverData::IntervalTimerObserverData(int observerId, long observerInterval,
                                                     void (*observerCallback)(int))
    : id(observerId), interval(observerInterval), callback(observerCallback) {
    updateNotificationTime();
}

void IntervalTimerObserverData::notify() {
    callback(id);
    updateNotificationTime();
}

void IntervalTimerObserverData::updateNotificationTime() {
    nextNotification = g_get_monotonic_time() + interval;
}
