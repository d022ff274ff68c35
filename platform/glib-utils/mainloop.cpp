#include "glib-utils/mainloop.h"

#include <pthread.h>
#include <signal.h>

#include <mutex>
#include <thread>

namespace {

void iterateForEver() {
    pthread_setname_np(pthread_self(), "main loop");
    // Not a GMainLoop: nothing could ever quit it, and a reference to it would only be lost.
    while (true) {
        g_main_context_iteration(nullptr, TRUE);
    }
}

/// The thread takes no signals: they are the application's business.
void startThread() {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread(iterateForEver).detach();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace

void mainloop_start(const char*, const char*, const char*) {
    static std::once_flag once;
    std::call_once(once, startThread);
}
