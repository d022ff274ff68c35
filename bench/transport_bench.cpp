// A scene of 20 objects from the engine's server to the hands of who processes it, over each
// transport: encoded, sent, read by a thread of the other side. One scene at a time, so the figure
// is the delay of a scene, most of it the waking of two threads.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <numbers>
#include <string>
#include <thread>

#include "cgi/api_version.h"
#include "engine/scene_server.h"
#include "scene/scene_reader.h"
#include "scene/video_scene_subscriber.h"

namespace {

constexpr int allButBoxes = 14;

SceneRecord scene() {
    SceneRecord record;
    setSceneTime(record, 1'000'000'000);
    for (int id = 1; id <= 20; ++id) {
        SceneObjectRecord object = {.id = id};
        object.polygon.emplace();
        for (int corner = 0; corner < 8; ++corner) {
            const double angle = corner * std::numbers::pi / 4;
            object.polygon->push_back({static_cast<std::int16_t>(100 * id + 300 * std::cos(angle)),
                                       static_cast<std::int16_t>(300 * std::sin(angle))});
        }
        object.velocity = SceneVelocity{35, 0};
        object.confidence = fullConfidence;
        record.objects.push_back(object);
    }
    return record;
}

/// The engine's server in a folder of its own, made the current one, where the module looks.
class Engine {
public:
    Engine()
        : folder(makeFolder()), server("scenes", 1, [this](int) {
              const std::lock_guard lock(mutex);
              isOpen = true;
              changed.notify_all();
          }) {}
    ~Engine() {
        unlink((folder + "/scenes").c_str());
        rmdir(folder.c_str());
    }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    void waitForStream() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return isOpen; });
    }

    void publish() { server.publish(1, record); }

    void take(char* payload) {
        std::free(payload);
        ++taken;
        taken.notify_all();
    }

    /// Sends scene after scene, each when the one before has been taken.
    void measure(benchmark::State& state) {
        for (auto _ : state) {
            const int before = taken;
            publish();
            taken.wait(before);
        }
        state.SetItemsProcessed(state.iterations());
    }

private:
    static std::string makeFolder() {
        char name[] = "/tmp/transport-bench-XXXXXX";
        if (mkdtemp(name) == nullptr || chdir(name) != 0) {
            std::abort();
        }
        return name;
    }

    const std::string folder;
    const SceneRecord record = scene();
    std::atomic<int> taken{0};
    std::mutex mutex;
    std::condition_variable changed;
    bool isOpen = false;
    SceneServer server;  // last: it calls into the others
};

void socketTransport(benchmark::State& state) {
    Engine engine;
    const int connection = SceneReader::connect("scenes");
    if (!SceneReader::initialize(connection, allButBoxes, 1, API_Version("1.1")).success) {
        state.SkipWithError("refused");
        return;
    }
    engine.waitForStream();
    std::atomic<bool> done{false};
    std::thread reader([&] {
        char* payload = nullptr;
        while (!done && SceneReader::readScene(connection, &payload)) {
            engine.take(payload);
        }
    });
    engine.measure(state);
    done = true;
    engine.publish();
    reader.join();
    SceneReader::disconnect(connection);
}

void moduleTransport(benchmark::State& state) {
    VideoSceneSubscriber::moduleName = MODULE;
    static const bool isThere = VideoSceneSubscriber::initialize();
    Engine engine;
    video_scene_subscriber_st* subscriber =
        isThere ? VideoSceneSubscriber::createSubscriber(1, SCENE_FORMAT_AREA, &engine) : nullptr;
    if (subscriber == nullptr) {
        state.SkipWithError("no module");
        return;
    }
    VideoSceneSubscriber::setPolygonEnabled(subscriber);
    VideoSceneSubscriber::setVelocityEnabled(subscriber);
    VideoSceneSubscriber::setLowConfidentEnabled(subscriber);
    VideoSceneSubscriber::setOnMessageArrivedCallback(
        subscriber, [](char* payload, void* data) { static_cast<Engine*>(data)->take(payload); });
    if (VideoSceneSubscriber::subscribe(subscriber) != 0) {
        state.SkipWithError("refused");
    } else {
        engine.waitForStream();
        engine.measure(state);
    }
    VideoSceneSubscriber::deleteSubscriber(&subscriber);
}

BENCHMARK(socketTransport)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(moduleTransport)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
