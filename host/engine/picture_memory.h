#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/file_descriptor.h"

/// Memory that another process may read along: made and written here, of fixed size, and sealed so
/// that the other can neither shrink nor write it.
class PictureMemory {
public:
    /// Of `bytes` bytes, more than 0. Throws std::system_error.
    explicit PictureMemory(std::size_t bytes);
    ~PictureMemory();
    PictureMemory(const PictureMemory&) = delete;
    PictureMemory& operator=(const PictureMemory&) = delete;

    std::uint8_t* data() const { return start; }
    std::size_t size() const { return length; }
    /// To hand over; stays this object's.
    int descriptor() const { return file.get(); }

private:
    FileDescriptor file;
    const std::size_t length;
    std::uint8_t* start;  // owned mapping
};
