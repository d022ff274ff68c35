#pragma once

#include <chrono>
#include <functional>
#include <string>

typedef struct _SoupServerMessage SoupServerMessage;

/// The body of an HTTP answer that is written piece by piece, one piece at a time. Used from the
/// thread that serves the request.
class ReplyStream {
public:
    using Time = std::chrono::steady_clock::time_point;

    struct Listener {
        std::function<void()> onWritten;  ///< the piece has been written; the next may be sent
        std::function<void()> onGone;     ///< the answer is over, whoever ended it
    };

    /// Begins the answer: status 200, its body of the given type. Keeps the message.
    ReplyStream(SoupServerMessage* request, const char* contentType, Listener reporter);
    /// Reports nothing more. An answer that is not over stays as it is.
    ~ReplyStream();
    ReplyStream(const ReplyStream&) = delete;
    ReplyStream& operator=(const ReplyStream&) = delete;

    /// Only when not busy and not finished.
    void send(std::string piece);
    /// The whole body at once; its length is told. Only before anything is sent.
    void sendWhole(std::string body);
    /// Ends the answer once the last piece is written.
    void finish();
    /// Ends the connection.
    void cut();

    /// A piece is being written.
    bool isBusy() const { return busy; }
    bool isFinished() const { return finished; }
    /// A piece, or the end, has waited to be written since before `time`.
    bool isStuckSince(Time time) const { return (busy || finished) && waitingSince < time; }

private:
    static void onWroteChunk(SoupServerMessage*, void* self);
    static void onFinished(SoupServerMessage*, void* self);

    SoupServerMessage* const message;  // owned: a reference
    const Listener listener;
    bool busy = false;
    bool finished = false;
    Time waitingSince;
};
