#include "zqhttp/scgi_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace {

constexpr int backlog = 511;

[[noreturn]] void fail(const std::string& path) {
    throw std::runtime_error(path + ": " + std::strerror(errno));
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        fail(path);
    }
    path.copy(address.sun_path, path.size());
    return address;
}

}  // namespace

ScgiSocket::ScgiSocket(const std::string& place)
    : path(place), descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    try {
        takePlace();
    } catch (const std::runtime_error&) {
        close(release());
        throw;
    }
}

ScgiSocket::~ScgiSocket() {
    struct stat present {};
    if (lstat(path.c_str(), &present) == 0 && present.st_dev == device && present.st_ino == inode) {
        unlink(path.c_str());
    }
    if (descriptor >= 0) {
        close(descriptor);
    }
}

int ScgiSocket::release() {
    return std::exchange(descriptor, -1);
}

void ScgiSocket::takePlace() {
    const std::string beside = path + ".new";
    const sockaddr_un address = addressOf(beside);
    unlink(beside.c_str());
    struct stat ours {};
    if (descriptor < 0 ||
        bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(descriptor, backlog) != 0 || lstat(beside.c_str(), &ours) != 0) {
        fail(path);
    }
    if (std::rename(beside.c_str(), path.c_str()) != 0) {
        const int reason = errno;
        unlink(beside.c_str());
        errno = reason;
        fail(path);
    }
    device = ours.st_dev;
    inode = ours.st_ino;
}
