#include "engine/recording_reader.h"

#include <string>

#include "engine/input_file.h"
#include "engine/line_reader.h"
#include "engine/recording_parser.h"

Recording RecordingReader::read(const InputFile& file) {
    RecordingParser parser(file.name());
    LineReader lines(file);
    std::string line;
    while (lines.next(line)) {
        parser.addLine(line);
    }
    return parser.finish();
}
