#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

/// One accepted connection of the scene socket, seen from the engine's side. Every wait ends with a
/// std::runtime_error after ten seconds.
class ScenePeer {
public:
    explicit ScenePeer(int fd);
    ~ScenePeer();
    ScenePeer(ScenePeer&& other) noexcept;
    ScenePeer& operator=(ScenePeer&& other) noexcept;

    /// The handshake's request, with its line end.
    std::string readRequest();
    /// Sends the text and a byte 0.
    void reply(std::string_view text);
    void send(std::string_view bytes);
    /// Sends one whole frame.
    void sendFrame(std::string_view payload);
    /// Sends a frame's head alone, with any length.
    void sendHead(std::int32_t length);
    /// Whether the other side has not closed the connection, as far as is seen now.
    bool isOpen() const;
    /// Whether the other side has taken all that was sent.
    bool isAllTaken() const;
    /// Waits until the other side has closed the connection.
    void waitForClose();
    /// Closes the sending direction; what the other side sends is still taken.
    void shutDownSending();
    void close();

private:
    int fd;
};

/// The tracking engine's end of the scene socket, in a temporary folder, played by the test. While
/// it lives, cameras and factory connect to it.
class SceneServer {
public:
    SceneServer();
    ~SceneServer();
    SceneServer(const SceneServer&) = delete;
    SceneServer& operator=(const SceneServer&) = delete;

    const std::string& path() const { return socketPath; }

    /// The next connection; waits for it.
    ScenePeer accept();
    /// accept(), the request thrown away, and "VERSION OK" as the reply.
    ScenePeer acceptAndGrant(std::string_view version = "1.1");
    /// Whether a connection waits to be accepted.
    bool hasPending() const;

    /// Refuses connections until listen().
    void stopListening();
    void listen();

private:
    std::string folder;
    std::string socketPath;
    const char* formerPath;
    int fd = -1;
};
