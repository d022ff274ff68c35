#pragma once

#include "engine/recording.h"

class InputFile;

/// Reads scene recordings.
namespace RecordingReader {

/// Reads and checks the whole of `file`, unpacked if its name ends in ".gz". Throws SourceError
/// "NAME:LINE: reason".
Recording read(const InputFile& file);

}  // namespace RecordingReader
