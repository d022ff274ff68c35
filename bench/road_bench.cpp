// One scene through the whole road of a camera: payload to verdicts, with the default filters and
// outlines of 8 vertices. No event is sent: where objects alarm, the event is on already. The
// arguments are the number of objects and of profiles. "allocations" is what the guards of one
// profile allocate for one scene, beyond what decoding and tracking need.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>

#include "events/state_event_producer_i.h"
#include "filters/object_lifetime_filter.h"
#include "filters/size_filter_percent.h"
#include "filters/swaying_filter.h"
#include "geometry/polygon.h"
#include "guard/area_guard.h"
#include "scene/scene_encoder.h"
#include "scene/socket_camera.h"
#include "support/allocation_counter.h"

namespace {

constexpr int vertices = 8;
/// Microseconds.
constexpr long hold = 3000000;

class SilentProducer : public StateEventProducerI {
public:
    StateEventProducerHandle registerEvent(int cameraId, const std::string&,
                                           const std::string& eventName,
                                           const std::string&) override {
        return {eventName, cameraId};
    }
    void unregisterEvent(const StateEventProducerHandle&) override {}
    void sendStartEvent(const StateEventProducerHandle&, const long&) override {}
    void sendEndEvent(const StateEventProducerHandle&, const long&) override {}
    void sendEndEvent(const StateEventProducerHandle&) override {}
};

/// What becomes of the objects at the guards.
enum class Fate {
    outside,   ///< clear of the include area
    heldBack,  ///< inside, and too young for the filters
    alarming,  ///< inside, and past all filters
};

ScenePayload sceneAt(std::uint64_t nanoseconds, std::int64_t objects, int shift) {
    SceneRecord scene{.time = nanoseconds};
    for (int id = 1; id <= objects; ++id) {
        SceneObjectRecord object{.id = id, .polygon = std::vector<ScenePoint>{}};
        for (int i = 0; i < vertices; ++i) {
            const double angle = 2 * std::numbers::pi * i / vertices;
            object.polygon->push_back(
                {static_cast<std::int16_t>(-3000 + 60 * id + 300 * std::cos(angle)),
                 static_cast<std::int16_t>(shift + 300 * std::sin(angle))});
        }
        object.velocity = SceneVelocity{35, 0};
        object.confidence = 4096;
        scene.objects.push_back(object);
    }
    return SceneEncoder().encode(scene);
}

/// The include area of a new profile, or for objects outside the strip above them all.
Polygon includeArea(Fate fate) {
    return fate == Fate::outside ? Polygon(-3973, 3973, 2500, 3973)
                                 : Polygon(-3973, 3973, -3973, 3973);
}

class Road {
public:
    Road(std::int64_t objects, std::int64_t profiles, Fate fate)
        : camera(1, 0, {}, 14), payload(sceneAt(3'000'000'000U, objects, 600)) {
        for (int profile = 1; profile <= profiles; ++profile) {
            camera.insertGuard(makeGuard(profile, fate));
        }
        const bool isOld = fate != Fate::heldBack;
        run(sceneAt(isOld ? 1'000'000'000U : 2'900'000'000U, objects, 0));
        run(payload);
        run(payload);
    }

    void run() { run(payload); }

    long allocationsOfOneScene() {
        const std::size_t before = allocationCount;
        run();
        return static_cast<long>(allocationCount - before);
    }

private:
    void run(const ScenePayload& scene) { camera.handleNoltData(const_cast<char*>(scene.data())); }

    AreaGuard* makeGuard(int profile, Fate fate) {
        auto* guard = new AreaGuard(includeArea(fate), "Profile", profile, 1, hold, "KTW 4",
                                    producer, Guard::anyPosition);
        guard->addExclusionFilter(new SizeFilterPercent(5, 5, true));
        guard->addExclusionFilter(new ObjectLifetimeFilter(1000000, true));
        guard->addExclusionFilter(new SwayingFilter(5, profile, true));
        return guard;
    }

    SilentProducer producer;
    SocketCamera camera;
    ScenePayload payload;
};

void road(benchmark::State& state, Fate fate) {
    const std::int64_t objects = state.range(0);
    const std::int64_t profiles = state.range(1);
    Road loaded(objects, profiles, fate);
    Road bare(objects, 0, fate);
    const long extra = loaded.allocationsOfOneScene() - bare.allocationsOfOneScene();
    for (auto _ : state) {
        loaded.run();
    }
    state.counters["allocations"] =
        static_cast<double>(extra) / static_cast<double>(std::max<std::int64_t>(profiles, 1));
    state.SetItemsProcessed(state.iterations());
}

void sizes(benchmark::internal::Benchmark* bench) {
    bench->Args({20, 0})->Args({20, 3})->Args({50, 10})->Args({100, 10})->Args({50, 20});
    bench->Unit(benchmark::kMicrosecond);
}

BENCHMARK_CAPTURE(road, outside, Fate::outside)->Apply(sizes);
BENCHMARK_CAPTURE(road, heldBack, Fate::heldBack)->Apply(sizes);
BENCHMARK_CAPTURE(road, alarming, Fate::alarming)->Apply(sizes);

}  // namespace

BENCHMARK_MAIN();
