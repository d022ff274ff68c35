#include "cgi/lock_hook.h"

#include <dlfcn.h>

/// Stands before GLib's own.
extern "C" void g_mutex_lock(GMutex* mutex) {
    static const auto original =
        reinterpret_cast<decltype(&g_mutex_lock)>(dlsym(RTLD_NEXT, "g_mutex_lock"));
    LockHook::run(mutex);
    original(mutex);
}
