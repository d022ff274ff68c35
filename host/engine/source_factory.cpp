#include "engine/source_factory.h"

#include "engine/engine_options.h"
#include "engine/input_file.h"
#include "engine/monotonic_clock.h"
#include "engine/pipe_source.h"
#include "engine/recording_reader.h"
#include "engine/recording_source.h"
#include "engine/video_source.h"

namespace {

/// How long a stream has to show itself when it is to be described.
constexpr std::int64_t describeWait = 5'000'000'000;

InputFile openFile(const FileOption& file) {
    return file.descriptor ? InputFile::fromDescriptor(*file.descriptor, file.name)
                           : InputFile::open(file.name);
}

}  // namespace

std::unique_ptr<Source> SourceFactory::makePipe(const FileOption& file) const {
    auto pipe = std::make_unique<PipeSource>(*file.descriptor, file.name, clock);
    if (options.action == EngineOptions::Action::Describe) {
        pipe->awaitStream(clock.now() + describeWait);
    }
    return pipe;
}

std::unique_ptr<Source> SourceFactory::make(const SourceOption& source) const {
    switch (source.kind) {
        case SourceOption::Kind::Scenes:
            return std::make_unique<RecordingSource>(RecordingReader::read(openFile(source.file)),
                                                     options.loop.value_or(false), clock);
        case SourceOption::Kind::Video:
            return std::make_unique<VideoSource>(openFile(source.file), options.loop.value_or(true),
                                                 clock);
        case SourceOption::Kind::Pipe:
            return makePipe(source.file);
    }
    return nullptr;
}
