// What a scene costs before any guard looks at it: reading its payload, decoding it, and keeping
// the tracked objects. Outlines of 8 vertices; the argument is the number of objects.

#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>

#include "scene/nolt_scene.h"
#include "scene/scene.h"
#include "scene/scene_encoder.h"
#include "tracking/nolt_scene_parser.h"

namespace {

constexpr int usualCapabilities = 14;
constexpr int vertices = 8;

SceneObjectRecord walker(int id) {
    SceneObjectRecord object{.id = id, .polygon = std::vector<ScenePoint>{}};
    for (int i = 0; i < vertices; ++i) {
        const double angle = 2 * std::numbers::pi * i / vertices;
        object.polygon->push_back(
            {static_cast<std::int16_t>(-3000 + 120 * id + 90 * std::cos(angle)),
             static_cast<std::int16_t>(200 * std::sin(angle))});
    }
    object.velocity = SceneVelocity{35, 0};
    object.confidence = 4096;
    return object;
}

SceneRecord street(std::int64_t objects) {
    SceneRecord scene{.time = 1'000'000'000U};
    for (int id = 1; id <= objects; ++id) {
        scene.objects.push_back(walker(id));
    }
    return scene;
}

// Reads all that the application would ask of an object.
std::int64_t readObject(const scene_object_st* object) {
    std::int64_t sum = scene_get_object_id(object);
    const void* value = nullptr;
    if (scene_get_obj_prop(object, SCENE_PROP_VELOCITY, &value) == 2) {
        sum += *static_cast<const std::int32_t*>(value);
    }
    const int points = scene_get_obj_prop(object, SCENE_PROP_POLYGON, &value);
    for (int i = 0; i < 2 * points; ++i) {
        sum += static_cast<const std::int16_t*>(value)[i];
    }
    if (scene_get_obj_prop(object, SCENE_PROP_CONFIDENCE, &value) == 1) {
        sum += *static_cast<const std::int16_t*>(value);
    }
    return sum;
}

void verifyAndWalk(benchmark::State& state) {
    const ScenePayload payload = SceneEncoder().encode(street(state.range(0)));
    for (auto _ : state) {
        scene_st* scene = scene_copy_from_area(payload.data());
        std::int64_t sum = 0;
        for (auto* object = scene_next_object(scene, nullptr); object != nullptr;
             object = scene_next_object(scene, object)) {
            sum += readObject(object);
        }
        benchmark::DoNotOptimize(sum);
        scene_delete(scene);
    }
    state.counters["bytes"] = static_cast<double>(payload.size());
}
BENCHMARK(verifyAndWalk)->Arg(20)->Arg(50);

void decode(benchmark::State& state) {
    const ScenePayload payload = SceneEncoder().encode(street(state.range(0)));
    for (auto _ : state) {
        const NoltScene scene(payload.data(), usualCapabilities);
        benchmark::DoNotOptimize(scene.activeObjects.data());
    }
}
BENCHMARK(decode)->Arg(20)->Arg(50);

void decodeAndTrack(benchmark::State& state) {
    const ScenePayload payload = SceneEncoder().encode(street(state.range(0)));
    NoltSceneParser parser(0, 16.0F / 9.0F);
    for (auto _ : state) {
        const NoltScene scene(payload.data(), usualCapabilities);
        const ParsedScene parsed = parser.parse(scene);
        benchmark::DoNotOptimize(parsed.activeObjects.data());
    }
}
BENCHMARK(decodeAndTrack)->Arg(20)->Arg(50);

void encode(benchmark::State& state) {
    const SceneRecord scene = street(state.range(0));
    SceneEncoder encoder;
    for (auto _ : state) {
        const ScenePayload payload = encoder.encode(scene);
        benchmark::DoNotOptimize(payload.data());
    }
}
BENCHMARK(encode)->Arg(20)->Arg(50);

}  // namespace

BENCHMARK_MAIN();
