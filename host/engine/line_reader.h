#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>
#include <vector>

class InputFile;

/// The lines of a text file, unpacked on the way if the file's name ends in ".gz".
///
/// States: reading -> ended. A file that cannot be read or unpacked throws from next().
class LineReader {
public:
    /// A longer line is refused: it is not a text file, or not one of ours.
    static constexpr std::size_t longestLine = 16u << 20;

    /// `source` is borrowed and must outlive the reader.
    explicit LineReader(const InputFile& source);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    /// Sets `line` to the next line, without its line end; false at the end of the file. Throws
    /// SourceError "NAME:LINE: reason".
    bool next(std::string& line);

    /// Number of the line that next() gave last, from 1.
    long number() const { return lineNumber; }

private:
    bool fill();
    bool fillPacked();
    std::size_t readChunk();
    [[noreturn]] void fail(const std::string& reason) const;

    const InputFile& file;  // borrowed
    const bool packed;
    z_stream inflater = {};
    bool memberEnded = true;  // between two packed members nothing is missing
    std::vector<unsigned char> chunk;
    std::string text;
    std::size_t position = 0;
    std::int64_t filePosition = 0;
    long lineNumber = 0;
};
