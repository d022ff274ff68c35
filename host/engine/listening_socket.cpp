#include "engine/listening_socket.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include "engine/unix_address.h"

ListeningSocket::ListeningSocket(const std::string& socketPath, int type)
    : path(socketPath), socket(::socket(AF_UNIX, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    const std::string temporary = path + ".new";
    const sockaddr_un address = unixAddress(temporary);
    unlink(temporary.c_str());
    struct stat status = {};
    if (!socket ||
        bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(socket.get(), SOMAXCONN) != 0 || stat(temporary.c_str(), &status) != 0 ||
        std::rename(temporary.c_str(), path.c_str()) != 0) {
        const int error = errno;
        unlink(temporary.c_str());
        throw SourceError(path + ": " + std::strerror(error));
    }
    inode = status.st_ino;
}

ListeningSocket::~ListeningSocket() {
    struct stat status = {};
    if (stat(path.c_str(), &status) == 0 && status.st_ino == inode) {
        unlink(path.c_str());
    }
}

FileDescriptor ListeningSocket::accept() const {
    return FileDescriptor(accept4(socket.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
}
