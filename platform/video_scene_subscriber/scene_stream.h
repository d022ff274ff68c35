#pragma once

#include <gio/gio.h>

#include <cstddef>

/// One connection to the scene engine's socket, from the handshake to its end.
///
/// open() and read() block; one thread at a time uses them. shutDown() may come from any thread and
/// makes a running read(), and all later ones, fail.
class SceneStream {
public:
    /// What is asked of the engine.
    struct Request {
        int channel;  ///< from 0
        bool boundingBox;
        bool polygon;
        bool velocity;
        bool lowConfident;
    };

    SceneStream() = default;
    ~SceneStream();
    SceneStream(const SceneStream&) = delete;
    SceneStream& operator=(const SceneStream&) = delete;

    /// Connects and asks, in at most a second; once. 0, or the module's result code for what went
    /// wrong.
    int open(const char* path, const Request& request);

    /// The next scene in a block of malloc(3) that passes to the caller; null at the end of the
    /// stream, for anything that is no scene, and without memory.
    char* read();

    void shutDown();

private:
    int connect(const char* path);
    int ask(const Request& request);
    int takeAnswer(gint64 deadline);
    bool receive(void* buffer, std::size_t size);

    GSocket* socket = nullptr;  // owned
};
