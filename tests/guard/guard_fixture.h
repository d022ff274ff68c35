#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

#include "filters/exclusion_filter.h"
#include "geometry/polygon.h"
#include "guard/area_guard.h"
#include "support/state_event_recorder.h"
#include "support/watched_device.h"
#include "tracking/parsed_scene.h"
#include "tracking/tracking_object.h"

constexpr long operator""_s(unsigned long long seconds) {
    return static_cast<long>(seconds) * 1000000;
}

/// A filter that a test opens and closes, and that counts what it is asked.
class GateFilter : public ExclusionFilter {
public:
    struct State {
        bool isOpen = true;
        int updates = 0;
        int questions = 0;
        bool isDeleted = false;
    };

    explicit GateFilter(State& shared) : state(shared) {}
    ~GateFilter() override { state.isDeleted = true; }
    bool canObjectTriggerAlarm(TrackingObject&) override {
        ++state.questions;
        return state.isOpen;
    }
    ExclusionFilter* clone() const override { return new GateFilter(state); }
    void updateFilterData(TrackingObject&) override { ++state.updates; }

private:
    State& state;
};

/// A guard of profile 3 on camera 1 that watches the box from -1000 to 1000, with a hold of three
/// seconds and one gate filter.
class GuardFixture : public ::testing::Test {
protected:
    static constexpr long hold = 3_s;

    explicit GuardFixture(const WatchedDevice::Parameters& parameters = WatchedDevice::plain)
        : device(parameters) {}

    AreaGuard& makeGuard(int configuredPreset = Guard::anyPosition) {
        guard = std::make_unique<AreaGuard>(Polygon(-1000, 1000, -1000, 1000), "Door", 3, 1, hold,
                                            "KTW 4", events, configuredPreset);
        guard->addExclusionFilter(new GateFilter(gate));
        events.take();
        return *guard;
    }

    /// An object of 200 by 200 units, kept by the fixture.
    TrackingObject& track(int id) {
        objects.push_back(
            std::make_unique<TrackingObject>(id, new Polygon(Point{0, 0}, short{200}, short{200})));
        return *objects.back();
    }

    static void move(TrackingObject& object, short x, short y) {
        delete object.polygon;
        object.polygon = new Polygon(Point{x, y}, short{200}, short{200});
    }
    static void enter(TrackingObject& object) { move(object, 0, 0); }
    static void leave(TrackingObject& object) { move(object, 3000, 3000); }

    using Verdict = std::unique_ptr<AlarmData>;

    Verdict check(long time, const std::vector<TrackingObject*>& active = {}) {
        ParsedScene scene(time, false);
        for (TrackingObject* object : active) {
            scene.insertActiveObject(object);
        }
        return Verdict(guard->checkObjects(scene));
    }

    WatchedDevice device;
    StateEventRecorder events;
    GateFilter::State gate;
    GateFilter::State secondGate;
    std::vector<std::unique_ptr<TrackingObject>> objects;
    std::unique_ptr<AreaGuard> guard;
};
