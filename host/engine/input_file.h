#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "engine/file_descriptor.h"

/// A regular file, read at positions of the caller's own, so that several readers, and a process
/// that was handed the same descriptor before, never disturb each other.
class InputFile {
public:
    /// Throws SourceError "PATH: reason".
    static InputFile open(const std::string& path);
    /// Takes a copy of `descriptor`, which stays the caller's. Throws SourceError "NAME: reason".
    static InputFile fromDescriptor(int descriptor, const std::string& name);

    /// Reads up to `size` bytes at `position`: their number, 0 at the end, -1 with errno on
    /// failure.
    std::ptrdiff_t readAt(std::int64_t position, void* buffer, std::size_t size) const;

    std::int64_t size() const { return bytes; }
    /// What messages call it.
    const std::string& name() const { return label; }

private:
    InputFile(FileDescriptor descriptor, std::string name);

    FileDescriptor file;
    std::string label;
    std::int64_t bytes = 0;
};
