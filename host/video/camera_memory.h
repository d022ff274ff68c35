#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>

#include "engine/file_descriptor.h"

/// The camera device: memory that clients map overlay buffers from. It is a file without a name,
/// sealed so that it never becomes shorter or longer. Clients may write to all of it at any time,
/// so what it holds is believed by nobody, and it is read without being mapped here.
///
/// Pages come into being when they are written to and go when their buffer is freed. A value of its
/// own; one thread at a time.
class CameraMemory {
public:
    static constexpr int kSize = 128 << 20;  ///< bytes

    /// Throws std::system_error when there is no such memory.
    explicit CameraMemory(int size = kSize);

    /// For clients; stays this object's.
    int descriptor() const { return file.get(); }

    /// A buffer of at least so many bytes, all 0: its offset, at the start of a page. None when
    /// nothing of that length is free.
    std::optional<int> allocate(int bytes);
    /// Gives a buffer back; its content is gone.
    void free(int offset);

    /// Copies from a buffer as it is at this moment. Throws std::system_error.
    void read(int offset, std::uint8_t* to, std::size_t bytes) const;

private:
    const int size;
    FileDescriptor file;
    std::map<int, int> used;  // bytes by offset
};
