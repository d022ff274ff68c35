#pragma once

#include <string>

#include "engine/file_descriptor.h"

/// A Unix stream socket that listens at a path, in the place of whatever stood there. The path is
/// removed with the object, unless another has taken it.
class ListeningSocket {
public:
    /// Throws std::runtime_error "PATH: reason".
    explicit ListeningSocket(std::string path);
    ~ListeningSocket();
    ListeningSocket(const ListeningSocket&) = delete;
    ListeningSocket& operator=(const ListeningSocket&) = delete;

    /// Gives the descriptor away; the path stays this object's.
    FileDescriptor release() { return std::move(listener); }

private:
    const std::string place;
    FileDescriptor listener;
    unsigned long inode = 0;
};
