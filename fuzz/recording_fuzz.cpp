// Scene recordings, plain and packed, from the file's bytes to the scenes that are played. What is
// read and written again is read as the same.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "engine/clock.h"
#include "engine/file_descriptor.h"
#include "engine/input_file.h"
#include "engine/recording_parser.h"
#include "engine/recording_reader.h"
#include "engine/recording_source.h"
#include "engine/recording_writer.h"
#include "engine/source_error.h"

namespace {

/// Is always there already, for a limited number of waits.
class CountingClock : public Clock {
public:
    std::int64_t now() const override { return 0; }
    bool waitUntil(std::int64_t) override { return ++waits < 200; }

private:
    int waits = 0;
};

class Checker : public SourceListener {
public:
    void onScene(const SceneRecord& scene) override {
        if (sceneTime(scene) < last) {
            abort();
        }
        last = sceneTime(scene);
    }

private:
    std::int64_t last = 0;
};

void checkWrittenAgain(const SceneRecord& scene) {
    const std::string line = RecordingWriter::format(scene, sceneTime(scene));
    RecordingParser parser("again");
    parser.addLine(line.substr(0, line.size() - 1));
    const Recording again = parser.finish();
    if (RecordingWriter::format(again.scenes[0], sceneTime(scene)) != line) {
        abort();
    }
}

void readAndPlay(const char* name, const std::uint8_t* data, std::size_t size) {
    const FileDescriptor file(memfd_create("recording", MFD_CLOEXEC));
    if (write(file.get(), data, size) != static_cast<ssize_t>(size)) {
        return;
    }
    try {
        const Recording recording =
            RecordingReader::read(InputFile::fromDescriptor(file.get(), name));
        checkWrittenAgain(recording.scenes.front());
        CountingClock clock;
        Checker checker;
        RecordingSource(recording, true, clock).run(0, checker);
    } catch (const SourceError&) {
        // Refused, as most are.
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const bool packed = size > 1 && data[0] == 0x1f && data[1] == 0x8b;
    readAndPlay(packed ? "recording.gz" : "recording", data, size);
    return 0;
}
