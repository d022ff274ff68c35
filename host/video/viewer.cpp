#include "video/viewer.h"

#include <utility>

#include "video/mjpeg_viewer.h"
#include "video/mp4_viewer.h"
#include "video/still_viewer.h"

Viewer::Viewer(SoupServerMessage* message, const VideoRequest& request, const Stream& first,
               std::function<void()> onGone)
    : reply(message, contentTypeOf(request.form), {[this] { onWritten(); }, std::move(onGone)}),
      stream(first),
      wish(request.wish) {}

std::unique_ptr<Viewer> Viewer::make(SoupServerMessage* message, const VideoRequest& request,
                                     const Stream& stream, std::function<void()> onGone) {
    switch (request.form) {
        case VideoRequest::Form::Jpeg:
            return std::make_unique<StillViewer>(message, request, stream, std::move(onGone));
        case VideoRequest::Form::Mp4:
            return std::make_unique<Mp4Viewer>(message, request, stream, std::move(onGone));
        default:
            return std::make_unique<MjpegViewer>(message, request, stream, std::move(onGone));
    }
}

const char* Viewer::contentTypeOf(VideoRequest::Form form) {
    switch (form) {
        case VideoRequest::Form::Jpeg:
            return "image/jpeg";
        case VideoRequest::Form::Mp4:
            return "video/mp4";
        default:
            return MjpegViewer::contentType;
    }
}
