#include "engine/source_factory.h"

#include "engine/engine_options.h"
#include "engine/input_file.h"
#include "engine/monotonic_clock.h"
#include "engine/recording_reader.h"
#include "engine/recording_source.h"
#include "engine/source_error.h"

namespace {

InputFile openFile(const FileOption& file) {
    return file.descriptor ? InputFile::fromDescriptor(*file.descriptor, file.name)
                           : InputFile::open(file.name);
}

}  // namespace

std::unique_ptr<Source> SourceFactory::make(const SourceOption& source) const {
    switch (source.kind) {
        case SourceOption::Kind::Scenes:
            return std::make_unique<RecordingSource>(RecordingReader::read(openFile(source.file)),
                                                     options.loop.value_or(false), clock);
        case SourceOption::Kind::Video:
        case SourceOption::Kind::Pipe:
            break;
    }
    throw SourceError(source.file.name + ": pictures are not built in");
}
