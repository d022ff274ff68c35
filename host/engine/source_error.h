#pragma once

#include <stdexcept>

/// A source, an option or the socket is bad. The text is one line, complete for the reader.
class SourceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
