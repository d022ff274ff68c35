#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

/// A web server's side of one connection. Nothing waits longer than twenty seconds.
class WebServerConnection {
public:
    explicit WebServerConnection(const std::string& path)
        : descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        const timeval patience{20, 0};
        setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
        if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            close(descriptor);
            throw std::runtime_error(std::strerror(errno));
        }
    }
    ~WebServerConnection() { hangUp(); }
    WebServerConnection(WebServerConnection&& other) noexcept
        : descriptor(std::exchange(other.descriptor, -1)) {}
    WebServerConnection(const WebServerConnection&) = delete;
    WebServerConnection& operator=(const WebServerConnection&) = delete;

    /// False when the other side has gone.
    bool send(std::string_view bytes) const {
        while (!bytes.empty()) {
            const ssize_t count = ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count <= 0) {
                return false;
            }
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
        return true;
    }

    void endSending() const { shutdown(descriptor, SHUT_WR); }

    /// All up to the end of the connection.
    std::string receive() const {
        std::string text;
        char piece[4096];
        ssize_t count;
        while ((count = recv(descriptor, piece, sizeof piece, 0)) > 0) {
            text.append(piece, static_cast<std::size_t>(count));
        }
        if (count < 0 && errno == EAGAIN) {
            throw std::runtime_error("the connection does not end");
        }
        return text;
    }

    bool hasSomethingWithin(int milliseconds) const {
        pollfd watched = {descriptor, POLLIN, 0};
        return poll(&watched, 1, milliseconds) > 0;
    }

    void hangUp() {
        if (descriptor >= 0) {
            close(std::exchange(descriptor, -1));
        }
    }

private:
    int descriptor;
};
