#pragma once

#include <string>
#include <string_view>

#include "engine/recording.h"

/// Reads a recording line by line, and holds every line against the format:
///
///     {"time": SECONDS, "objects": [OBJECT...], "events": [EVENT...]}
///     OBJECT = {"id": ID, "polygon": [POINT...], "boundingBox": [POINT, POINT],
///               "velocity": [X, Y], "confidence": 0..32767}
///     EVENT  = {"action": "delete"|"split"|"merge", "ids": [ID...], "relatedIds": [ID...]}
///     POINT  = [X, Y], whole numbers -32768..32767
///
/// "time" is finite, 0 to 10^7 and never decreases. "polygon" has at most 1,000 points. All of an
/// object but "id", and "events", may be missing; "relatedIds" only from a delete. Whatever else a
/// line holds is not looked at. The same id may occur twice.
class RecordingParser {
public:
    explicit RecordingParser(std::string name);

    /// Throws SourceError "NAME:LINE: reason" if the line is bad.
    void addLine(std::string_view line);

    /// The recording; the parser is used up. Throws SourceError if there was no line.
    Recording finish();

private:
    Recording recording;
    long lineNumber = 0;
};
