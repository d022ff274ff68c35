#pragma once

#include <map>
#include <string>

#include "video/stream.h"
#include "video/stream_wish.h"

class StreamTable;

/// Which stream of each camera is shown: that of the size and rotation in which the application
/// draws, by its configuration document. Without a document that can be read, without a size in it,
/// or with one that no stream has, the native size; without a rotation, 0. Used from one thread.
class ChosenStreams {
public:
    /// `streams` is borrowed. Reads the document.
    ChosenStreams(const StreamTable& streams, std::string configurationFile);

    /// Reads the document again.
    void read();

    /// Throws WebError 404 when there is no such camera or no such stream.
    Stream find(const StreamWish& wish) const;

private:
    Stream findDefault(int camera) const;

    const StreamTable& table;
    const std::string path;
    std::map<int, StreamWish> choices;  // by camera
};
