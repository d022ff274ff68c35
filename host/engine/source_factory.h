#pragma once

#include <memory>

#include "engine/source.h"

class MonotonicClock;
struct EngineOptions;
struct FileOption;
struct SourceOption;

/// Makes the sources of a command line.
class SourceFactory {
public:
    /// Both are borrowed; the clock must outlive the sources.
    SourceFactory(const EngineOptions& command, MonotonicClock& time)
        : options(command), clock(time) {}

    /// Opens and checks one source. Throws SourceError.
    std::unique_ptr<Source> make(const SourceOption& source) const;

private:
    std::unique_ptr<Source> makePipe(const FileOption& file) const;

    const EngineOptions& options;
    MonotonicClock& clock;
};
