#include "engine/line_reader.h"

#include <cerrno>
#include <cstring>

#include "engine/input_file.h"
#include "engine/source_error.h"

namespace {

constexpr std::size_t chunkSize = std::size_t{64} << 10;
constexpr int gzipOnly = 16 + MAX_WBITS;

}  // namespace

LineReader::LineReader(const InputFile& source)
    : file(source), packed(source.name().ends_with(".gz")), chunk(chunkSize) {
    if (packed && inflateInit2(&inflater, gzipOnly) != Z_OK) {
        throw SourceError(source.name() + ": out of memory");
    }
}

LineReader::~LineReader() {
    if (packed) {
        inflateEnd(&inflater);
    }
}

bool LineReader::next(std::string& line) {
    std::size_t end = text.find('\n', position);
    while (end == std::string::npos) {
        const std::size_t searched = text.size() - position;
        if (searched > longestLine) {
            fail("line is longer than 16 MiB");
        }
        text.erase(0, position);
        position = 0;
        if (!fill()) {
            end = text.size();
            break;
        }
        end = text.find('\n', searched);
    }
    if (end == text.size() && position == end) {
        return false;
    }
    ++lineNumber;
    line.assign(text, position, end - position);
    position = end == text.size() ? end : end + 1;
    return true;
}

// Appends more text; false at the end of the file.
bool LineReader::fill() {
    if (packed) {
        return fillPacked();
    }
    const std::size_t got = readChunk();
    text.append(reinterpret_cast<const char*>(chunk.data()), got);
    return got > 0;
}

bool LineReader::fillPacked() {
    const std::size_t before = text.size();
    while (text.size() == before) {
        if (inflater.avail_in == 0) {
            inflater.avail_in = static_cast<uInt>(readChunk());
            inflater.next_in = chunk.data();
            if (inflater.avail_in == 0) {
                if (!memberEnded || filePosition == 0) {
                    fail("packed data end in the middle");
                }
                return false;
            }
        }
        if (memberEnded) {
            inflateReset(&inflater);
            memberEnded = false;
        }
        text.resize(before + chunkSize);
        inflater.next_out = reinterpret_cast<Bytef*>(text.data() + before);
        inflater.avail_out = chunkSize;
        const int result = inflate(&inflater, Z_NO_FLUSH);
        text.resize(before + chunkSize - inflater.avail_out);
        if (result == Z_STREAM_END) {
            memberEnded = true;
        } else if (result != Z_OK && result != Z_BUF_ERROR) {
            fail(std::string("is not packed by gzip: ") +
                 (inflater.msg != nullptr ? inflater.msg : "bad data"));
        }
    }
    return true;
}

std::size_t LineReader::readChunk() {
    const std::ptrdiff_t got = file.readAt(filePosition, chunk.data(), chunk.size());
    if (got < 0) {
        fail(std::strerror(errno));
    }
    filePosition += got;
    return static_cast<std::size_t>(got);
}

void LineReader::fail(const std::string& reason) const {
    throw SourceError(file.name() + ":" + std::to_string(lineNumber + 1) + ": " + reason);
}
