#include "support/scene_server.h"

#include <arpa/inet.h>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "scene/scene_reader.h"

namespace {

constexpr int patience = 10000;

[[noreturn]] void fail(const char* what) {
    throw std::runtime_error(std::string("scene server: ") + what);
}

void waitUntilReadable(int fd, const char* what) {
    pollfd entry{fd, POLLIN, 0};
    int result;
    do {
        result = poll(&entry, 1, patience);
    } while (result < 0 && errno == EINTR);
    if (result != 1) {
        fail(what);
    }
}

}  // namespace

ScenePeer::ScenePeer(int descriptor) : fd(descriptor) {}

ScenePeer::~ScenePeer() {
    close();
}

ScenePeer::ScenePeer(ScenePeer&& other) noexcept : fd(std::exchange(other.fd, -1)) {}

ScenePeer& ScenePeer::operator=(ScenePeer&& other) noexcept {
    std::swap(fd, other.fd);
    return *this;
}

std::string ScenePeer::readRequest() {
    std::string line;
    while (line.empty() || line.back() != '\n') {
        waitUntilReadable(fd, "no request");
        char byte;
        if (recv(fd, &byte, 1, 0) != 1) {
            fail("the request ended early");
        }
        line += byte;
    }
    return line;
}

void ScenePeer::reply(std::string_view text) {
    send(std::string(text) + '\0');
}

void ScenePeer::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 1) {
            fail("could not send");
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

void ScenePeer::sendFrame(std::string_view payload) {
    sendHead(static_cast<std::int32_t>(payload.size()));
    send(payload);
}

void ScenePeer::sendHead(std::int32_t length) {
    const std::uint32_t word = htonl(static_cast<std::uint32_t>(length));
    std::string head(sizeof word + 8, '\x5a');
    std::memcpy(head.data(), &word, sizeof word);
    send(head);
}

bool ScenePeer::isAllTaken() const {
    int unread = -1;
    return ioctl(fd, SIOCOUTQ, &unread) == 0 && unread == 0;
}

void ScenePeer::waitForClose() {
    char byte;
    do {
        waitUntilReadable(fd, "the other side did not close");
    } while (recv(fd, &byte, 1, 0) > 0);
}

bool ScenePeer::isOpen() const {
    char byte;
    return recv(fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 1 || errno == EAGAIN;
}

void ScenePeer::shutDownSending() {
    shutdown(fd, SHUT_WR);
}

void ScenePeer::close() {
    if (fd != -1) {
        ::close(std::exchange(fd, -1));
    }
}

SceneServer::SceneServer() : formerPath(SceneReader::socketPath) {
    char name[] = "/tmp/scene-server-XXXXXX";
    if (mkdtemp(name) == nullptr) {
        fail("no folder");
    }
    folder = name;
    socketPath = folder + "/scenes";
    SceneReader::socketPath = socketPath.c_str();
    listen();
}

SceneServer::~SceneServer() {
    SceneReader::socketPath = formerPath;
    stopListening();
    rmdir(folder.c_str());
}

ScenePeer SceneServer::accept() {
    waitUntilReadable(fd, "nobody connected");
    const int peer = accept4(fd, nullptr, nullptr, SOCK_CLOEXEC);
    if (peer < 0) {
        fail("could not accept");
    }
    return ScenePeer(peer);
}

ScenePeer SceneServer::acceptAndGrant(std::string_view version) {
    ScenePeer peer = accept();
    peer.readRequest();
    peer.reply(std::string(version) + " OK");
    return peer;
}

bool SceneServer::hasPending() const {
    pollfd entry{fd, POLLIN, 0};
    return poll(&entry, 1, 0) == 1;
}

void SceneServer::stopListening() {
    if (fd != -1) {
        close(std::exchange(fd, -1));
        unlink(socketPath.c_str());
    }
}

void SceneServer::listen() {
    fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, socketPath.data(), socketPath.size());
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(fd, 16) != 0) {
        fail("could not listen");
    }
}
