#include "video/picture_receiver.h"

#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "video/log.h"
#include "video/picture_sink.h"

namespace {

/// Connections that have not said hello; an engine says it at once.
constexpr std::ptrdiff_t mostWaiting = 16;
constexpr int acceptRest = 100;  // milliseconds

FileDescriptor makeWaker() {
    FileDescriptor waker(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!waker) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    return waker;
}

/// How a line about the connection begins.
std::string lineAbout(const PictureConnection& connection) {
    return connection.camera() == 0 ? "video: "
                                    : "video: camera " + std::to_string(connection.camera()) + ": ";
}

}  // namespace

PictureReceiver::PictureReceiver(const std::string& socketPath, int cameraCount,
                                 PictureSink& destination)
    : cameras(cameraCount),
      sink(destination),
      listener(socketPath, SOCK_SEQPACKET),
      waker(makeWaker()),
      thread(&PictureReceiver::receive, this) {}

PictureReceiver::~PictureReceiver() {
    eventfd_write(waker.get(), 1);
    thread.join();
}

// One packet of each connection in turn: none can keep another waiting.
void PictureReceiver::receive() {
    while (waitForInput()) {
        for (std::size_t i = 0; i + 2 < watched.size(); ++i) {
            if (watched[i + 2].revents != 0 && connections[i]) {
                readFrom(connections[i]);
            }
        }
        std::erase(connections, nullptr);
        if (watched[1].revents != 0) {
            acceptNext();
        }
    }
    connections.clear();
}

// False when the thread is to end.
bool PictureReceiver::waitForInput() {
    watched.clear();
    watch(waker.get());
    watch(acceptingRests ? -1 : listener.descriptor());
    for (const Connection& connection : connections) {
        watch(connection->descriptor());
    }
    if (poll(watched.data(), watched.size(), acceptingRests ? acceptRest : -1) < 0) {
        std::for_each(watched.begin(), watched.end(), [](pollfd& one) { one.revents = 0; });
    }
    acceptingRests = false;
    return watched[0].revents == 0;
}

void PictureReceiver::watch(int descriptor) {
    watched.push_back({descriptor, POLLIN, 0});
}

void PictureReceiver::acceptNext() {
    FileDescriptor socket = listener.accept();
    if (!socket) {
        acceptingRests = errno != EAGAIN && errno != EINTR && errno != ECONNABORTED;
        return;
    }
    connections.push_back(std::make_unique<PictureConnection>(std::move(socket), cameras));
    readFrom(connections.back());
    limitWaiting();
    std::erase(connections, nullptr);
}

void PictureReceiver::readFrom(Connection& connection) {
    try {
        const PictureConnection::Event event = connection->read(sink);
        if (event == PictureConnection::Event::Opened) {
            welcome(*connection);
        } else if (event == PictureConnection::Event::Ended) {
            if (connection->camera() != 0) {
                say(lineAbout(*connection) + "the engine has gone");
            }
            connection.reset();
        }
    } catch (const std::exception& error) {
        leave(connection, error.what());
    }
}

void PictureReceiver::welcome(const PictureConnection& opened) {
    for (Connection& other : connections) {
        if (other && other.get() != &opened && other->camera() == opened.camera()) {
            other.reset();
        }
    }
    lastComplaint.clear();
    say(lineAbout(opened) + "pictures of " + std::to_string(opened.width()) + "x" +
        std::to_string(opened.height()));
}

// An engine that tries again and again for nothing is told of once.
void PictureReceiver::leave(Connection& connection, const std::string& reason) {
    std::string complaint = lineAbout(*connection) + "an engine is left: " + reason;
    if (complaint != lastComplaint) {
        say(complaint);
        lastComplaint = std::move(complaint);
    }
    connection.reset();
}

void PictureReceiver::limitWaiting() {
    const auto isWaiting = [](const Connection& connection) {
        return connection && connection->camera() == 0;
    };
    if (std::count_if(connections.begin(), connections.end(), isWaiting) > mostWaiting) {
        leave(*std::find_if(connections.begin(), connections.end(), isWaiting),
              "too many say no hello");
    }
}
