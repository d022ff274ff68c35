#pragma once

#include <unistd.h>

#include <utility>

/// Owns one descriptor and closes it; -1 is none.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : fd(descriptor) {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(FileDescriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            reset();
            fd = std::exchange(other.fd, -1);
        }
        return *this;
    }

    void reset() {
        if (fd >= 0) {
            close(fd);
        }
        fd = -1;
    }

    /// Gives the descriptor away.
    int release() { return std::exchange(fd, -1); }

    int get() const { return fd; }
    explicit operator bool() const { return fd >= 0; }

private:
    int fd = -1;
};
