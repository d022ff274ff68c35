#pragma once

#include <gio/gio.h>

#include <cstddef>
#include <functional>

#include "zqhttp/scgi_request.h"
#include "zqhttp/scgi_watch.h"

/// How long the other side of a connection is waited for.
struct ScgiPatience {
    /// Milliseconds for a request to arrive as a whole.
    unsigned request = 10'000;
    /// Seconds for a reader to take some of the answer.
    unsigned answer = 5;
};

/// One connection of the web server: reads a request as it arrives, has it answered and closes.
/// What is no request is answered by an error of HTTP, or not at all when its sender is gone.
///
/// States: Reading -> Answering -> Over, or Reading -> Refusing -> Over, or Reading -> Over. All on
/// the thread of the main context.
class ScgiConnection {
public:
    /// Writes the answer to a request.
    using Answer = std::function<void(const ScgiRequest&, GOutputStream&)>;

    /// Takes over the socket (transferred). `over` is told once that there is nothing more to be
    /// done; it is the last that happens, and may destroy the connection.
    ScgiConnection(GSocket* socket, GMainContext* context, ScgiPatience patience, Answer answer,
                   std::function<void()> over);
    /// Closes.
    ~ScgiConnection();
    ScgiConnection(const ScgiConnection&) = delete;
    ScgiConnection& operator=(const ScgiConnection&) = delete;

private:
    static gboolean onReadable(GSocket*, GIOCondition, gpointer self);
    static gboolean onTimeout(gpointer self);

    /// False when there is nothing more to be read.
    bool read();
    void finish();
    /// Leaves the bytes just read, and those that follow, out. False when they are too many.
    bool refuse(const char* status, std::size_t length);
    void respond();

    GSocket* socket;            // owned
    GSocketConnection* stream;  // owned
    const ScgiPatience patience;
    const Answer answer;
    std::function<void()> over;
    ScgiRequest request;
    bool isRefused = false;
    /// Bytes of a request that is refused.
    std::size_t ignored = 0;
    ScgiWatch readable;
    ScgiWatch timeout;
};
