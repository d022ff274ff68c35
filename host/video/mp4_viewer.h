#pragma once

#include <memory>
#include <string>

#include "video/h264_encoder.h"
#include "video/mp4_writer.h"
#include "video/viewer.h"

/// Gets a stream as a fragmented MP4 file without an end. One who is too slow misses what comes
/// before the next key picture. The file is of one stream: it ends when another is asked for.
class Mp4Viewer : public Viewer {
public:
    Mp4Viewer(SoupServerMessage* message, const VideoRequest& request, const Stream& first,
              std::function<void()> onGone)
        : Viewer(message, request, first, std::move(onGone)) {}

    StreamDemand getDemand() const override { return {false, !reply.isFinished(), !writer}; }
    void show(const ComposedPicture& picture) override;
    void changeTo(const Stream& other) override;

private:
    void onWritten() override;
    void add(const H264Picture& picture);

    std::unique_ptr<Mp4Writer> writer;         // null until the first key picture
    std::shared_ptr<const H264Format> format;  // the writer's
    bool isWaitingForKey = true;
    std::string waiting;  // written to the file, not yet sent
    int picturesWaiting = 0;
};
