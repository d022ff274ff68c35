#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>

#include "engine/file_descriptor.h"
#include "engine/handshake.h"

/// One connection to the scene socket, as the server sees it. Used by the server's thread alone;
/// never blocks.
///
///     Asking --request granted--> Streaming --behind, broken--> (closed by the server)
///        '----refused, too long--> Refused ---answer sent-----> (closed by the server)
class SceneClient {
public:
    enum class State { Asking, Streaming, Refused };
    using Frame = std::shared_ptr<const std::string>;
    using Time = std::chrono::steady_clock::time_point;

    /// Takes `socket`, which does not block. It has until `deadline` to get through its handshake.
    SceneClient(FileDescriptor socket, Time deadline);

    /// Reads what has come. False when the connection is to be closed.
    bool read(int cameras);
    /// Puts a frame behind what is still to be sent.
    void enqueue(Frame frame) { unsent.push_back(std::move(frame)); }
    /// Sends what the socket takes. False when the connection is to be closed.
    bool flush();

    State state() const { return phase; }
    int descriptor() const { return socket.get(); }
    int camera() const { return cameraNumber; }
    unsigned properties() const { return wanted; }
    Time deadline() const { return latest; }
    /// Frames not wholly sent.
    std::size_t backlog() const { return unsent.size(); }
    bool wantsToRead() const { return !inputEnded; }
    bool wantsToWrite() const { return !unsent.empty(); }
    /// What the poller was last told of the two above.
    int watched = -1;

private:
    void judge(const Handshake& handshake);

    FileDescriptor socket;
    const Time latest;
    State phase = State::Asking;
    bool inputEnded = false;
    std::string request;
    int cameraNumber = 0;
    unsigned wanted = 0;
    std::deque<Frame> unsent;
    std::size_t sent = 0;  // bytes of the first of them
};
