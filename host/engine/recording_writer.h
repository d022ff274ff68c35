#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>

#include "engine/scene_record.h"

/// Writes scenes as a recording, packed if the file's name ends in ".gz". Used from one thread.
///
/// A write that fails is told once on standard error and ends the recording; the scenes go on.
class RecordingWriter {
public:
    /// Makes `path` anew. Throws SourceError "PATH: reason".
    static RecordingWriter create(const std::string& path);
    /// Empties the file behind a copy of `descriptor`, which stays the caller's. Throws
    /// SourceError.
    static RecordingWriter fromDescriptor(int descriptor, const std::string& name);

    RecordingWriter(RecordingWriter&& other) noexcept;
    RecordingWriter& operator=(RecordingWriter&&) = delete;
    ~RecordingWriter();

    /// Times are written counted from `time`, nanoseconds on the scenes' clock.
    void startAt(std::int64_t time) { start = time; }
    void add(const SceneRecord& scene);

    /// One line, with its line end, for a scene at `seconds` from the recording's start.
    static std::string format(const SceneRecord& scene, std::int64_t time);

private:
    RecordingWriter(int descriptor, std::string name);
    void giveUp();

    std::string label;
    gzFile file = nullptr;  // owned
    std::int64_t start = 0;
    std::int64_t flushed = 0;
};
