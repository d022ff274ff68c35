#include "video/listening_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace {

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address = {};
    if (path.size() >= sizeof address.sun_path) {
        throw std::runtime_error(path + ": the path is too long for a socket");
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

}  // namespace

// The socket listens before it takes its name: whoever can see it can connect.
ListeningSocket::ListeningSocket(std::string path) : place(std::move(path)) {
    const std::string temporary = place + ".new";
    const sockaddr_un address = addressOf(temporary);
    listener = FileDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    unlink(temporary.c_str());
    struct stat status = {};
    if (!listener ||
        bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener.get(), SOMAXCONN) != 0 || stat(temporary.c_str(), &status) != 0 ||
        rename(temporary.c_str(), place.c_str()) != 0) {
        const std::string reason = std::strerror(errno);
        unlink(temporary.c_str());
        throw std::runtime_error(place + ": " + reason);
    }
    inode = status.st_ino;
}

ListeningSocket::~ListeningSocket() {
    struct stat status = {};
    if (stat(place.c_str(), &status) == 0 && status.st_ino == inode) {
        unlink(place.c_str());
    }
}
