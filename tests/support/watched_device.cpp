#include "support/watched_device.h"

#include <glib.h>

#include <algorithm>

#include "support/wait_for.h"

namespace {

std::vector<std::string> sentTexts(const std::string& property) {
    std::vector<std::string> values;
    for (const ZQEventDouble::Sent& event : ZQEventDouble::sent()) {
        if (const EventKey* key = event.values.find(property)) {
            values.push_back(std::get<std::string>(key->value));
        }
    }
    return values;
}

}  // namespace

long WatchedDevice::now() {
    return g_get_monotonic_time();
}

std::vector<std::string> WatchedDevice::takeFrames() {
    std::vector<std::string> frames = sentTexts("svgframe");
    frames.erase(frames.begin(), frames.begin() + static_cast<std::ptrdiff_t>(framesTaken));
    framesTaken += frames.size();
    return frames;
}

std::vector<std::string> WatchedDevice::motionLevels() {
    return sentTexts("motionlevel");
}

bool WatchedDevice::isDeclared(const std::string& name) {
    return std::ranges::count(declared(), name) != 0;
}

bool WatchedDevice::isUndeclaredInTime(const std::string& name) {
    return waitFor([&] { return !isDeclared(name); });
}

void WatchedDevice::failNextDeclaration() {
    ZQEventDouble::failCall("zq_event_handler_declare", 1);
}
