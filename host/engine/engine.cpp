#include "engine/engine.h"

#include <jansson.h>

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <numeric>

#include "engine/camera_worker.h"
#include "engine/engine_options.h"
#include "engine/picture_dump.h"
#include "engine/picture_feed.h"
#include "engine/picture_listeners.h"
#include "engine/scene_server.h"
#include "engine/source_factory.h"

namespace {

std::string aspectRatio(int width, int height) {
    const int divisor = std::gcd(width, height);
    return std::to_string(width / divisor) + ":" + std::to_string(height / divisor);
}

/// What is described of it, where that is certain: a live stream may be another one by now.
std::optional<PictureShape> shapeOf(const Source& source) {
    if (source.isLive()) {
        return {};
    }
    const SourceDescription what = source.describe();
    return PictureShape{what.width, what.height};
}

void waitForEnd() {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    int signal = 0;
    sigwait(&ends, &signal);
}

}  // namespace

Engine::Engine(const EngineOptions& command) : options(command), clock(stop) {
    const SourceFactory factory(options, clock);
    for (const SourceOption& source : options.sources) {
        sources.push_back(factory.make(source));
    }
}

Engine::~Engine() = default;

void Engine::serve() {
    std::vector<std::optional<RecordingWriter>> recorders = makeRecorders();
    std::vector<std::unique_ptr<CameraWorker>> workers;
    for (std::size_t i = 0; i < sources.size(); ++i) {
        const int camera = static_cast<int>(i) + 1;
        auto pictures = makePictureListener(camera, *sources[i]);
        workers.push_back(std::make_unique<CameraWorker>(
            camera, std::move(sources[i]), std::move(recorders[i]), std::move(pictures), clock));
    }
    SceneServer server(options.socket, static_cast<int>(workers.size()), [&workers](int camera) {
        workers[static_cast<std::size_t>(camera) - 1]->open();
    });
    for (const auto& worker : workers) {
        worker->start(server);
    }
    waitForEnd();
    stop.stop();
    for (const auto& worker : workers) {
        worker->join();
    }
}

std::vector<std::optional<RecordingWriter>> Engine::makeRecorders() const {
    std::vector<std::optional<RecordingWriter>> recorders(sources.size());
    for (std::size_t i = 0; i < options.records.size(); ++i) {
        const FileOption& file = options.records[i];
        recorders[i].emplace(file.descriptor
                                 ? RecordingWriter::fromDescriptor(*file.descriptor, file.name)
                                 : RecordingWriter::create(file.name));
    }
    return recorders;
}

std::unique_ptr<PictureListener> Engine::makePictureListener(int camera,
                                                             const Source& source) const {
    auto listeners = std::make_unique<PictureListeners>();
    if (!options.dump.empty()) {
        listeners->add(std::make_unique<PictureDump>(options.dump, camera));
    }
    if (!options.pictures.empty()) {
        listeners->add(std::make_unique<PictureFeed>(options.pictures, camera, shapeOf(source)));
    }
    return listeners;
}

std::string Engine::describe() const {
    std::string lines;
    int camera = 0;
    for (const auto& source : sources) {
        const SourceDescription what = source->describe();
        const double rate = static_cast<double>(std::lround(what.framesPerSecond * 1000)) / 1000;
        json_t* json = json_pack("{s:i, s:s, s:s, s:i, s:i, s:f, s:s}", "camera", ++camera, "kind",
                                 what.kind.c_str(), "name", what.name.c_str(), "width", what.width,
                                 "height", what.height, "fps", rate, "aspectRatio",
                                 aspectRatio(what.width, what.height).c_str());
        char* text = json_dumps(json, JSON_COMPACT | JSON_PRESERVE_ORDER | JSON_REAL_PRECISION(6));
        lines += std::string(text) + "\n";
        free(text);
        json_decref(json);
    }
    return lines;
}
