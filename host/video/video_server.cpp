#include "video/video_server.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "video/camera_composer.h"
#include "video/picture_frame.h"
#include "video/video_options.h"

namespace {

constexpr int grey = 128;

AvFrame makeGrey(const VideoOptions::Camera& camera) {
    AvFrame frame = makePictureFrame(camera.width, camera.height);
    for (int plane = 0; plane < 3; ++plane) {
        const int rows = plane == 0 ? camera.height : (camera.height + 1) / 2;
        std::memset(
            frame->data[plane], grey,
            static_cast<std::size_t>(rows) * static_cast<std::size_t>(frame->linesize[plane]));
    }
    return frame;
}

}  // namespace

VideoServer::VideoServer(const VideoOptions& options, const StreamTable& streams,
                         const OverlaySource& overlays, VideoWeb::Limits limits)
    : web(options.web, streams, options.configuration, limits,
          [this](const Stream& stream, const StreamDemand& demand) {
              composers.at(static_cast<std::size_t>(stream.camera - 1))->setDemand(stream, demand);
          }) {
    av_log_set_level(AV_LOG_QUIET);  // what fails is told by those who use libav
    int number = 0;
    for (const VideoOptions::Camera& camera : options.cameras) {
        composers.push_back(std::make_unique<CameraComposer>(
            ++number, makeGrey(camera), overlays,
            [this](CameraComposer::Result result) { web.show(std::move(result)); }));
    }
    web.start();
}

// First the one that tells the composers what is wanted.
VideoServer::~VideoServer() {
    web.stop();
}

void VideoServer::onPicture(int camera, const AVFrame& picture, std::int64_t) {
    const bool isOfUse = camera >= 1 && static_cast<std::size_t>(camera) <= composers.size() &&
                         picture.format == AV_PIX_FMT_YUV420P && picture.width > 0 &&
                         picture.height > 0;
    if (isOfUse) {
        composers[static_cast<std::size_t>(camera - 1)]->add(picture);
    }
}
