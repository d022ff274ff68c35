#pragma once

#include <string>
#include <utility>

#include "engine/file_descriptor.h"

/// A Unix socket that listens at a path, without blocking. It listens before it takes its name:
/// whoever can see it can connect.
class ListeningSocket {
public:
    /// Puts a socket of `type` (SOCK_STREAM, SOCK_SEQPACKET) in the place of whatever stands at
    /// `socketPath`. Throws SourceError.
    ListeningSocket(const std::string& socketPath, int type);
    /// Removes it from its path, unless another has taken its place.
    ~ListeningSocket();
    ListeningSocket(const ListeningSocket&) = delete;
    ListeningSocket& operator=(const ListeningSocket&) = delete;

    /// The next connection, not blocking and closed on exec; none with errno.
    FileDescriptor accept() const;

    /// To wait for; stays this object's.
    int descriptor() const { return socket.get(); }
    /// Gives the descriptor away; the path stays this object's.
    FileDescriptor release() { return std::move(socket); }

private:
    const std::string path;
    FileDescriptor socket;
    unsigned long inode = 0;
};
