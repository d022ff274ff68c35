#include "engine/scene_client.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace {

/// However much a client sends, the others have their turn.
constexpr int mostReads = 8;

}  // namespace

SceneClient::SceneClient(FileDescriptor connection, Time deadline)
    : socket(std::move(connection)), latest(deadline) {}

bool SceneClient::read(int cameras) {
    char buffer[512];
    for (int i = 0; i < mostReads; ++i) {
        const ssize_t got = recv(socket.get(), buffer, sizeof buffer, MSG_DONTWAIT);
        if (got < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        if (got == 0) {
            // A client may close its sending half once it has asked; one that is gone altogether is
            // reported as such.
            inputEnded = true;
            return phase != State::Asking;
        }
        if (phase != State::Asking) {
            continue;  // nothing that follows the request has a meaning
        }
        request.append(buffer, static_cast<std::size_t>(got));
        const std::size_t end = request.find('\n');
        if (end < Handshake::longestRequest) {
            judge(Handshake(std::string_view(request).substr(0, end), cameras));
        } else if (request.size() >= Handshake::longestRequest) {
            judge(Handshake("", cameras));
        }
    }
    return true;
}

void SceneClient::judge(const Handshake& handshake) {
    phase = handshake.granted() ? State::Streaming : State::Refused;
    cameraNumber = handshake.camera();
    wanted = handshake.properties();
    enqueue(std::make_shared<const std::string>(handshake.answer()));
}

bool SceneClient::flush() {
    while (!unsent.empty()) {
        const std::string& frame = *unsent.front();
        const ssize_t count = send(socket.get(), frame.data() + sent, frame.size() - sent,
                                   MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        sent += static_cast<std::size_t>(count);
        if (sent == frame.size()) {
            unsent.pop_front();
            sent = 0;
        }
    }
    return phase != State::Refused;
}
