// From the start of a camera's thread to the verdict on its first scene, over a real socket:
// connect, handshake, one frame of 20 objects, decoding, tracking, one guard. The engine's end
// answers at once.

#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "events/state_event_producer_i.h"
#include "geometry/polygon.h"
#include "guard/area_guard.h"
#include "scene/scene_encoder.h"
#include "scene/scene_reader.h"
#include "scene/socket_camera.h"

namespace {

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

/// Tells when its first scene has been judged.
class FirstSceneGuard : public AreaGuard {
public:
    explicit FirstSceneGuard(StateEventProducerI& producer)
        : AreaGuard(Polygon(-3973, 3973, -3973, 3973), "Profile", 1, 1, 3000000, "KTW 4", producer,
                    Guard::anyPosition) {}

    AlarmData* checkObjects(ParsedScene& scene) override {
        AlarmData* verdict = AreaGuard::checkObjects(scene);
        isJudged = true;
        isJudged.notify_all();
        return verdict;
    }

    std::atomic<bool> isJudged{false};
};

/// A frame of 20 boxes.
std::string makeFrame() {
    SceneRecord scene{.time = 1'000'000'000U};
    for (std::int16_t id = 1; id <= 20; ++id) {
        const auto left = static_cast<std::int16_t>(-3000 + 200 * id);
        const auto right = static_cast<std::int16_t>(left + 300);
        scene.objects.push_back(
            {.id = id,
             .polygon = std::vector<ScenePoint>{{left, 0}, {left, 500}, {right, 500}, {right, 0}},
             .velocity = SceneVelocity{},
             .confidence = 4096});
    }
    const ScenePayload payload = SceneEncoder().encode(scene);
    const auto size = static_cast<std::uint32_t>(payload.size());
    std::string frame;
    for (int shift = 24; shift >= 0; shift -= 8) {
        frame += static_cast<char>(size >> shift & 0xFFU);
    }
    return frame + std::string(8, '\0') + std::string(payload.data(), payload.size());
}

void check(bool isGood, const char* what) {
    if (!isGood) {
        perror(what);
        std::exit(1);
    }
}

/// The engine's end, played by the benchmark's own thread.
class Engine {
public:
    Engine() : listener(socket(AF_UNIX, SOCK_STREAM, 0)) {
        char name[] = "/tmp/handshake-bench-XXXXXX";
        check(mkdtemp(name) != nullptr, "mkdtemp");
        folder = name;
        path = folder + "/scenes";
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        check(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
              "bind");
        check(listen(listener, 4) == 0, "listen");
        SceneReader::socketPath = path.c_str();
    }
    ~Engine() {
        close(listener);
        unlink(path.c_str());
        rmdir(folder.c_str());
    }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    /// The next connection, after its handshake and first frame.
    int serve() const {
        const int peer = accept(listener, nullptr, nullptr);
        check(peer >= 0, "accept");
        std::array<char, 100> request{};
        check(recv(peer, request.data(), request.size(), 0) > 0, "recv");
        send(peer, "1.1 OK", 7);
        send(peer, frame.data(), frame.size());
        return peer;
    }
    /// One more frame, for a camera that may wait for it or be gone.
    void nudge(int peer) const { ::send(peer, frame.data(), frame.size(), MSG_NOSIGNAL); }

private:
    static void send(int peer, const char* bytes, std::size_t count) {
        check(::send(peer, bytes, count, MSG_NOSIGNAL) == static_cast<ssize_t>(count), "send");
    }

    std::string frame = makeFrame();
    int listener;
    std::string folder;
    std::string path;
};

void handshakeToFirstScene(benchmark::State& state) {
    static const char* const versions[] = {"1.0", "1.1"};
    const Engine engine;
    SilentProducer producer;
    for (auto _ : state) {
        state.PauseTiming();
        SocketCamera camera(1, 0, {versions, 2}, 14);
        auto* guard = new FirstSceneGuard(producer);
        camera.insertGuard(guard);
        state.ResumeTiming();

        camera.start(SocketCamera::run, &camera);
        const int peer = engine.serve();
        guard->isJudged.wait(false);

        state.PauseTiming();
        camera.stop();
        engine.nudge(peer);
        camera.join();
        close(peer);
        state.ResumeTiming();
    }
}

BENCHMARK(handshakeToFirstScene)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
