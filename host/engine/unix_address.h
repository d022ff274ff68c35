#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <string>

#include "engine/source_error.h"

/// The address of a Unix socket. Throws SourceError if the path is too long for one.
inline sockaddr_un unixAddress(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw SourceError(path + ": is too long for a socket");
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}
