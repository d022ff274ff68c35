#include "glib-utils/double/glib_utils_double.h"

#include <mutex>

namespace {

std::mutex mutex;
std::vector<GlibUtilsDouble::Start> recorded;

std::string textOf(const char* text) {
    return text ? text : "";
}

}  // namespace

namespace GlibUtilsDouble {

void reset() {
    const std::lock_guard lock(mutex);
    recorded.clear();
}

std::vector<Start> starts() {
    const std::lock_guard lock(mutex);
    return recorded;
}

}  // namespace GlibUtilsDouble

void mainloop_start(const char* name, const char* displayName, const char* platformName) {
    const std::lock_guard lock(mutex);
    recorded.push_back({textOf(name), textOf(displayName), textOf(platformName)});
}
