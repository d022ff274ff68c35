#pragma once

/// A piece of a file or device, mapped for reading and writing and shared with its other users.
class MappedMemory {
public:
    /// Maps `length` bytes from `offset`, a multiple of the page size. Whether the file is long
    /// enough is for the caller to see to. Throws std::runtime_error with the errno.
    MappedMemory(int length, int descriptor, int offset);
    ~MappedMemory();
    MappedMemory(const MappedMemory&) = delete;
    MappedMemory& operator=(const MappedMemory&) = delete;

    void* getPointer() const { return pointer; }

    /// Ends a mapping. A failure is logged.
    static void unmap(void* pointer, int size);

private:
    int size;
    void* pointer;
};
