#include "app/interval_timer_observable.h"

#include <syslog.h>

#include <algorithm>

#include "app/interval_timer_observer_data.h"

GRecMutex IntervalTimerObservable::mutex;
std::atomic<bool> IntervalTimerObservable::isRunning{false};
std::vector<IntervalTimerObserverData*> IntervalTimerObservable::activeObservers;
std::vector<std::int32_t> IntervalTimerObservable::pendingUnregistrations;
std::vector<IntervalTimerObserverData*> IntervalTimerObservable::pendingRegistrations;
std::atomic<std::int32_t> IntervalTimerObservable::nextId{0};
int IntervalTimerObservable::tick = 0;
GThread* IntervalTimerObservable::thread = nullptr;

namespace {

void destroyAll(std::vector<IntervalTimerObserverData*>& observers) {
    for (const IntervalTimerObserverData* observer : observers) {
        delete observer;
    }
    observers.clear();
}

}  // namespace

void IntervalTimerObservable::initialize(int cycleTick) {
    g_autoptr(GRecMutexLocker) lock = g_rec_mutex_locker_new(&mutex);
    if (isRunning) {
        syslog(LOG_WARNING, "Cannot initialize the IntervalTimerObservable twice\n");
        return;
    }
    isRunning = true;
    tick = cycleTick;
    thread = g_thread_new(nullptr, run, nullptr);
}

void IntervalTimerObservable::deinitialize() {
    if (!isRunning) {
        syslog(LOG_WARNING,
               "Cannot deinitialize the IntervalTimerObservable if it has not been initialized\n");
        return;
    }
    g_rec_mutex_lock(&mutex);
    isRunning = false;
    g_rec_mutex_unlock(&mutex);
    g_thread_join(thread);
    thread = nullptr;
    g_autoptr(GRecMutexLocker) lock = g_rec_mutex_locker_new(&mutex);
    destroyAll(activeObservers);
    destroyAll(pendingRegistrations);
    pendingUnregistrations.clear();
}

int IntervalTimerObservable::registerObserver(void (*callback)(int), long interval) {
    if (!isRunning) {
        syslog(LOG_WARNING,
               "Cannot register an observer if the IntervalTimerObservable is not running\n");
        return -1;
    }
    g_autoptr(GRecMutexLocker) lock = g_rec_mutex_locker_new(&mutex);
    const std::int32_t id = nextId++;
    pendingRegistrations.push_back(new IntervalTimerObserverData(id, interval, callback));
    return id;
}

void IntervalTimerObservable::unregisterObserver(int id) {
    if (id == -1 || !isRunning) {
        return;
    }
    g_autoptr(GRecMutexLocker) lock = g_rec_mutex_locker_new(&mutex);
    pendingUnregistrations.push_back(id);
}

void* IntervalTimerObservable::run(void*) {
    while (isRunning) {
        runCycle();
        g_usleep(static_cast<gulong>(tick));
    }
    return nullptr;
}

void IntervalTimerObservable::runCycle() {
    applyPending();
    const std::int64_t now = g_get_monotonic_time();
    for (IntervalTimerObserverData* observer : activeObservers) {
        if (observer->getNextNotification() <= now) {
            observer->notify();
        }
    }
}

void IntervalTimerObservable::applyPending() {
    g_autoptr(GRecMutexLocker) lock = g_rec_mutex_locker_new(&mutex);
    removeUnregistered();
    activeObservers.insert(activeObservers.end(), pendingRegistrations.begin(),
                           pendingRegistrations.end());
    pendingRegistrations.clear();
    // Within the lock, unlike the thread's other steps: outside it a registration at this very
    // moment would get an id that is given out once more.
    nextId = activeObservers.empty() ? 0 : activeObservers.back()->getId() + 1;
}

void IntervalTimerObservable::removeUnregistered() {
    const auto isUnregistered = [](const IntervalTimerObserverData* observer) {
        return std::find(pendingUnregistrations.begin(), pendingUnregistrations.end(),
                         observer->getId()) != pendingUnregistrations.end();
    };
    std::erase_if(activeObservers, [&](const IntervalTimerObserverData* observer) {
        if (!isUnregistered(observer)) {
            return false;
        }
        delete observer;
        return true;
    });
    pendingUnregistrations.clear();
}
