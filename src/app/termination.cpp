#include "app/termination.h"

#include <glib.h>
#include <pthread.h>

#include <csignal>

namespace {

void (*terminationHandler)(int) = nullptr;

sigset_t terminationSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    return signals;
}

// Takes the signals one by one instead of being interrupted by them, so that the handler may lock a
// mutex like any other code.
[[noreturn]] void* takeSignals(void*) {
    const sigset_t signals = terminationSignals();
    for (;;) {
        int signal = 0;
        if (sigwait(&signals, &signal) == 0) {
            terminationHandler(signal);
        }
    }
}

}  // namespace

bool Termination::deliverTo(void (*handler)(int)) {
    const sigset_t signals = terminationSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    struct sigaction action = {};
    action.sa_handler = handler;
    if (sigaction(SIGTERM, &action, nullptr) != 0) {
        pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
        return false;
    }
    terminationHandler = handler;
    g_thread_unref(g_thread_new(nullptr, takeSignals, nullptr));
    return true;
}
