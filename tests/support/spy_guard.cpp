#include "support/spy_guard.h"

#include "geometry/polygon.h"
#include "tracking/parsed_scene.h"
#include "tracking/tracking_object.h"

namespace {

/// Microseconds.
constexpr long hold = 3000000;

std::string text(long number) {
    return " " + std::to_string(number);
}

}  // namespace

SpyGuard::SpyGuard(int profile, int camera, StateEventProducerI& producer, Journal& shared)
    : AreaGuard(Polygon(-4096, 4096, -4096, 4096), "Spy", profile, camera, hold, "KTW 4", producer,
                Guard::anyPosition),
      journal(shared) {}

SpyGuard::~SpyGuard() {
    write("deleted");
}

AlarmData* SpyGuard::checkObjects(ParsedScene& scene) {
    std::string line = "scene" + text(scene.timestamp);
    for (const TrackingObject* object : scene.activeObjects) {
        line += text(object->id) + "@" + std::to_string(object->firstSeen);
    }
    write(line);
    return AreaGuard::checkObjects(scene);
}

void SpyGuard::sendAlarmEvent() {
    write("test");
    AreaGuard::sendAlarmEvent();
}

void SpyGuard::handleStartupPreset(int preset) {
    write("startup" + text(preset));
    AreaGuard::handleStartupPreset(preset);
}

void SpyGuard::handleArrivingAtPreset(int preset, const long& time) {
    write("arrive" + text(preset) + text(time));
    AreaGuard::handleArrivingAtPreset(preset, time);
}

void SpyGuard::handleLeavingPreset(const long& time) {
    write("leave" + text(time));
    AreaGuard::handleLeavingPreset(time);
}

void SpyGuard::handleMovementEvent(bool moving, const long& time) {
    write("move" + text(moving ? 1 : 0) + text(time));
    AreaGuard::handleMovementEvent(moving, time);
}

void SpyGuard::write(const std::string& line) {
    journal.write(std::to_string(getProfileId()) + ": " + line);
}
