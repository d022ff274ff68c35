#include "support/fake_clock.h"

#include <dlfcn.h>
#include <glib.h>

#include <atomic>

namespace {

constexpr long kRealTime = -1;
std::atomic<long> fakeNow{kRealTime};

gint64 realMonotonicTime() {
    static const auto function =
        reinterpret_cast<gint64 (*)()>(dlsym(RTLD_NEXT, "g_get_monotonic_time"));
    return function();
}

}  // namespace

// Stands before GLib's own for everything that is linked into the test program.
extern "C" gint64 g_get_monotonic_time() {
    const long now = fakeNow;
    return now == kRealTime ? realMonotonicTime() : now;
}

FakeClock::FakeClock(long now) {
    fakeNow = now;
}

FakeClock::~FakeClock() {
    fakeNow = kRealTime;
}

void FakeClock::set(long now) {
    fakeNow = now;
}

void FakeClock::advance(long microseconds) {
    fakeNow += microseconds;
}

long FakeClock::now() const {
    return fakeNow;
}
