#include "engine/picture_converter.h"

#include <stdexcept>

extern "C" {
#include <libavutil/opt.h>
}

#include "engine/bt709.h"

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
    if (!converted || from != source || to != target) {
        prepare(from, to);
    }
    if (scaler) {
        require(sws_scale(scaler.get(), picture.data, picture.linesize, 0, picture.height,
                          converted->data, converted->linesize) == height);
    } else {
        Bt709::toBt601(picture, *converted);
    }
    return *converted;
}

PictureConverter::Form PictureConverter::formOf(const AVFrame& picture) {
    const auto format = static_cast<AVPixelFormat>(picture.format);
    return {picture.width, picture.height, format, colorsOf(picture),
            picture.color_range == AVCOL_RANGE_JPEG || isFullRangeFormat(format)};
}

void PictureConverter::prepare(const Form& from, const Form& to) {
    converted.reset();
    Form recoloured = to;
    recoloured.colors = AVCOL_SPC_BT709;
    // The scaler would go by way of red, green and blue: four times as slow, and less exact.
    scaler = from == recoloured ? nullptr : makeScaler(from, to);
    converted = makeFrame(to);
    source = from;
    target = to;
}

AvFrame PictureConverter::makeFrame(const Form& form) {
    AvFrame frame(av_frame_alloc());
    require(frame != nullptr);
    frame->width = form.width;
    frame->height = form.height;
    frame->format = form.format;
    require(av_frame_get_buffer(frame.get(), 0) >= 0);
    return frame;
}

AvScaler PictureConverter::makeScaler(const Form& from, const Form& to) {
    AvScaler made(sws_alloc_context());
    require(made != nullptr);
    av_opt_set_int(made.get(), "srcw", from.width, 0);
    av_opt_set_int(made.get(), "srch", from.height, 0);
    av_opt_set_int(made.get(), "src_format", from.format, 0);
    // Told before it is set up, or a range that the format does not tell is not converted.
    av_opt_set_int(made.get(), "src_range", from.isFullRange ? 1 : 0, 0);
    av_opt_set_int(made.get(), "dstw", to.width, 0);
    av_opt_set_int(made.get(), "dsth", to.height, 0);
    av_opt_set_int(made.get(), "dst_format", to.format, 0);
    av_opt_set_int(made.get(), "sws_flags", quality, 0);
    require(sws_init_context(made.get(), nullptr, nullptr) >= 0);
    // Refused where neither end has such colours, and needless there.
    sws_setColorspaceDetails(made.get(), sws_getCoefficients(from.colors), from.isFullRange ? 1 : 0,
                             sws_getCoefficients(to.colors), 0, 0, neutral, neutral);
    return made;
}
