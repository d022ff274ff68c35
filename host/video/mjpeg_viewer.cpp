#include "video/mjpeg_viewer.h"

#include <utility>

void MjpegViewer::show(const ComposedPicture& picture) {
    if (!picture.jpeg) {
        return;
    }
    if (reply.isBusy()) {
        next = picture.jpeg;
    } else {
        send(*picture.jpeg);
    }
}

void MjpegViewer::onWritten() {
    if (const auto picture = std::exchange(next, nullptr)) {
        send(*picture);
    }
}

// A part ends with the boundary before the next one: only then do browsers show it.
void MjpegViewer::send(const std::string& jpeg) {
    std::string piece = std::exchange(hasBegun, true) ? "" : "--picture\r\n";
    piece += "Content-Type: image/jpeg\r\nContent-Length: " + std::to_string(jpeg.size()) +
             "\r\n\r\n" + jpeg + "\r\n--picture\r\n";
    reply.send(std::move(piece));
}
