#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/monotonic_clock.h"
#include "engine/recording_writer.h"
#include "engine/source.h"
#include "engine/stop_signal.h"

struct EngineOptions;

/// One engine: the sources of the command line, each a camera, and what is done with them.
class Engine {
public:
    /// Opens and checks all sources. `command` is borrowed for the engine's life. Throws
    /// SourceError.
    explicit Engine(const EngineOptions& command);
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    /// Serves until SIGTERM or SIGINT, which must be blocked in the calling thread, and which the
    /// threads it starts inherit blocked. Throws SourceError if the socket or a recording cannot be
    /// made, or if there is no folder to keep pictures in.
    void serve();

    /// One JSON object a line for each source.
    std::string describe() const;

private:
    std::vector<std::optional<RecordingWriter>> makeRecorders() const;
    std::unique_ptr<PictureListener> makePictureListener(int camera, const Source& source) const;

    const EngineOptions& options;
    StopSignal stop;
    MonotonicClock clock;
    std::vector<std::unique_ptr<Source>> sources;
};
