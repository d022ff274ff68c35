#pragma once

#include <gio/gio.h>

#include <string>

/// The command channel to the graphics service: a socket, each request one JSON text and its
/// terminating zero byte, each reply one text of at most 512 bytes.
///
/// All failures are std::runtime_error. One thread at a time; a call blocks until the reply or the
/// time limit.
class CommandChannelHandler {
public:
    /// Opens the channel. A reply may take so many seconds, as long as one of the bus.
    explicit CommandChannelHandler(unsigned seconds = 25);
    /// Closes the channel.
    ~CommandChannelHandler();
    CommandChannelHandler(const CommandChannelHandler&) = delete;
    CommandChannelHandler& operator=(const CommandChannelHandler&) = delete;

    /// Asks the service for a channel, which takes the place of the one before.
    void createCommandChannel();

    /// Sends a request for a buffer. The handle of the reply, or -1 when it holds none.
    int getBufferHandle(const std::string& request);

    /// Sends a request that gives a buffer back. A reply with "error" anywhere in it is a failure.
    void submitBuffer(const std::string& request);

private:
    /// Sends a request and returns its reply.
    std::string exchange(const std::string& request);

    const unsigned replySeconds;
    GDBusProxy* proxy;           // owned
    GSocket* channel = nullptr;  // owned, and its descriptor with it
};
