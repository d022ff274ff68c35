#include "engine/picture_converter.h"

#include <stdexcept>

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace {

/// Exact for areas of one colour, whatever the processor.
constexpr int quality = SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT;
/// In 1/65536: as it is.
constexpr int neutral = 1 << 16;

bool isFullRangeFormat(AVPixelFormat format) {
    return format == AV_PIX_FMT_YUVJ420P || format == AV_PIX_FMT_YUVJ422P ||
           format == AV_PIX_FMT_YUVJ444P || format == AV_PIX_FMT_YUVJ440P ||
           format == AV_PIX_FMT_YUVJ411P;
}

/// Whatever is not known to be different is BT.601.
AVColorSpace colorsOf(const AVFrame& picture) {
    switch (picture.colorspace) {
        case AVCOL_SPC_BT709:
        case AVCOL_SPC_FCC:
        case AVCOL_SPC_SMPTE240M:
        case AVCOL_SPC_BT2020_NCL:
        case AVCOL_SPC_BT2020_CL:
            return picture.colorspace;
        default:
            return AVCOL_SPC_SMPTE170M;
    }
}

void require(bool done) {
    if (!done) {
        throw std::runtime_error("its form is unknown");
    }
}

}  // namespace

const AVFrame& PictureConverter::convert(const AVFrame& picture, int width, int height) {
    const Form from = formOf(picture);
    const Form to = {width, height, AV_PIX_FMT_YUV420P, AVCOL_SPC_SMPTE170M, false};
    if (from == to) {
        return picture;
    }
    if (!scaler || from != source || to != target) {
        prepare(from, to);
    }
    require(sws_scale(scaler.get(), picture.data, picture.linesize, 0, picture.height,
                      converted->data, converted->linesize) == height);
    return *converted;
}

PictureConverter::Form PictureConverter::formOf(const AVFrame& picture) {
    const auto format = static_cast<AVPixelFormat>(picture.format);
    return {picture.width, picture.height, format, colorsOf(picture),
            picture.color_range == AVCOL_RANGE_JPEG || isFullRangeFormat(format)};
}

void PictureConverter::prepare(const Form& from, const Form& to) {
    scaler.reset();
    AvFrame frame(av_frame_alloc());
    require(frame != nullptr);
    frame->width = to.width;
    frame->height = to.height;
    frame->format = to.format;
    require(av_frame_get_buffer(frame.get(), 0) >= 0);

    AvScaler fresh(sws_alloc_context());
    require(fresh != nullptr);
    av_opt_set_int(fresh.get(), "srcw", from.width, 0);
    av_opt_set_int(fresh.get(), "srch", from.height, 0);
    av_opt_set_int(fresh.get(), "src_format", from.format, 0);
    // Told before it is set up, or a range that the format does not tell is not converted.
    av_opt_set_int(fresh.get(), "src_range", from.isFullRange ? 1 : 0, 0);
    av_opt_set_int(fresh.get(), "dstw", to.width, 0);
    av_opt_set_int(fresh.get(), "dsth", to.height, 0);
    av_opt_set_int(fresh.get(), "dst_format", to.format, 0);
    av_opt_set_int(fresh.get(), "sws_flags", quality, 0);
    require(sws_init_context(fresh.get(), nullptr, nullptr) >= 0);
    // Refused where neither end has such colours, and needless there.
    sws_setColorspaceDetails(fresh.get(), sws_getCoefficients(from.colors),
                             from.isFullRange ? 1 : 0, sws_getCoefficients(to.colors), 0, 0,
                             neutral, neutral);
    converted = std::move(frame);
    scaler = std::move(fresh);
    source = from;
    target = to;
}
