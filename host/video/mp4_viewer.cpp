#include "video/mp4_viewer.h"

#include <exception>
#include <utility>

#include "video/log.h"

namespace {

constexpr int mostWaiting = 2;

}  // namespace

void Mp4Viewer::show(const ComposedPicture& picture) {
    if (!picture.video || reply.isFinished()) {
        return;
    }
    if (writer && *picture.videoFormat != *format) {
        reply.finish();
        return;
    }
    isWaitingForKey = (isWaitingForKey && !picture.video->isKey) || picturesWaiting == mostWaiting;
    if (isWaitingForKey) {
        return;
    }
    try {
        if (!writer) {
            format = picture.videoFormat;
            writer = std::make_unique<Mp4Writer>(*format);
        }
        add(*picture.video);
    } catch (const std::exception& failure) {
        say(failure.what());
        reply.finish();
    }
}

void Mp4Viewer::add(const H264Picture& picture) {
    waiting += writer->write(picture);
    ++picturesWaiting;
    if (!reply.isBusy()) {
        onWritten();
    }
}

void Mp4Viewer::onWritten() {
    if (picturesWaiting > 0) {
        picturesWaiting = 0;
        reply.send(std::exchange(waiting, {}));
    }
}

void Mp4Viewer::changeTo(const Stream&) {
    reply.finish();
}
