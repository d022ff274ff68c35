#pragma once

#include <functional>
#include <memory>

#include "video/reply_stream.h"
#include "video/stream.h"
#include "video/stream_painter.h"
#include "video/video_request.h"

/// One who watches a stream over an HTTP request: holds no more than the piece that is being
/// written and one more. Used from the thread that serves the request.
class Viewer {
public:
    virtual ~Viewer() = default;
    Viewer(const Viewer&) = delete;
    Viewer& operator=(const Viewer&) = delete;

    /// `onGone` is called when the request is over, and may destroy the viewer.
    static std::unique_ptr<Viewer> make(SoupServerMessage* message, const VideoRequest& request,
                                        const Stream& stream, std::function<void()> onGone);
    /// The type of what a viewer gets.
    static const char* contentTypeOf(VideoRequest::Form form);

    virtual StreamDemand getDemand() const = 0;
    /// The next picture of the stream.
    virtual void show(const ComposedPicture& picture) = 0;
    /// What was asked for is another stream from now on.
    virtual void changeTo(const Stream& other) = 0;

    const StreamWish& getWish() const { return wish; }
    const Stream& getStream() const { return stream; }
    ReplyStream::Time getBegin() const { return begin; }
    bool isStuckSince(ReplyStream::Time time) const { return reply.isStuckSince(time); }
    void cut() { reply.cut(); }

protected:
    Viewer(SoupServerMessage* message, const VideoRequest& request, const Stream& first,
           std::function<void()> onGone);

    ReplyStream reply;
    Stream stream;

private:
    /// The reply can take a piece.
    virtual void onWritten() = 0;

    const StreamWish wish;
    const ReplyStream::Time begin = std::chrono::steady_clock::now();
};
