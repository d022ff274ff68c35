#include "app/termination.h"

#include <glib.h>
#include <poll.h>
#include <pthread.h>

#include <csignal>

namespace {

void changeMask(int how) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(how, &signals, nullptr);
}

[[noreturn]] void* takeSignals(void*) {
    changeMask(SIG_UNBLOCK);
    for (;;) {
        poll(nullptr, 0, -1);
    }
}

}  // namespace

bool Termination::deliverTo(void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    changeMask(SIG_BLOCK);
    if (sigaction(SIGTERM, &action, nullptr) != 0) {
        changeMask(SIG_UNBLOCK);
        return false;
    }
    g_thread_unref(g_thread_new(nullptr, takeSignals, nullptr));
    return true;
}
