#include "video/stream_painter.h"

#include "video/overlay_snapshot.h"
#include "video/user_overlay_renderer.h"

StreamPainter::StreamPainter(const Stream& target, const OverlaySource& source,
                             UserOverlayRenderer& renderer)
    : stream(target),
      overlays(source),
      userOverlays(renderer),
      turner(target.width, target.height, target.rotation) {}

ComposedPicture StreamPainter::paint(const AVFrame& upright, std::int64_t time,
                                     const StreamDemand& demand) {
    AVFrame& picture = turner.turn(upright);
    layOver(picture);
    ComposedPicture result;
    if (demand.jpeg) {
        if (!jpegEncoder) {
            jpegEncoder = std::make_unique<JpegEncoder>(picture.width, picture.height);
        }
        result.jpeg = jpegEncoder->encode(picture);
    }
    encodeVideo(picture, time, demand, result);
    return result;
}

void StreamPainter::layOver(AVFrame& picture) {
    const OverlaySnapshot snapshot = overlays.getSnapshot(stream);
    composer.setPalette(snapshot.palette);
    for (const PaletteBand& band : snapshot.bands) {
        composer.blend(band, picture);
    }
    for (const auto& patch : userOverlays.render(stream, snapshot.users)) {
        composer.blend(*patch, picture);
    }
}

void StreamPainter::encodeVideo(const AVFrame& picture, std::int64_t time,
                                const StreamDemand& demand, ComposedPicture& result) {
    if (!demand.video) {
        videoEncoder.reset();
        return;
    }
    if (!videoEncoder) {
        videoEncoder = std::make_unique<H264Encoder>(picture.width, picture.height);
        videoFormat = std::make_shared<const H264Format>(videoEncoder->getFormat());
    }
    result.video = videoEncoder->encode(picture, time, demand.keyPicture);
    result.videoFormat = videoFormat;
}
