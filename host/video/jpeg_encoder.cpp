#include "video/jpeg_encoder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "video/picture_frame.h"

namespace {

/// 1 is the best, 31 the worst.
constexpr int quantiser = 3;

using Table = std::array<std::uint8_t, 256>;

Table makeTable(double lowest, double middle, double factor) {
    Table table;
    for (std::size_t i = 0; i < table.size(); ++i) {
        const double value = (static_cast<double>(i) - lowest) * factor + middle;
        table[i] = static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
    }
    return table;
}

void check(int result) {
    if (result < 0) {
        throw std::runtime_error("a picture could not be encoded as JPEG: " + avErrorText(result));
    }
}

void translate(const AVFrame& from, AVFrame& to, int plane, const Table& table) {
    const int shift = plane == 0 ? 0 : 1;
    const int width = (to.width + shift) >> shift;
    const int height = (to.height + shift) >> shift;
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* row = from.data[plane] + std::ptrdiff_t{y} * from.linesize[plane];
        std::transform(row, row + width, to.data[plane] + std::ptrdiff_t{y} * to.linesize[plane],
                       [&](std::uint8_t value) { return table[value]; });
    }
}

/// JPEG knows the full range only.
void widen(const AVFrame& from, AVFrame& to) {
    static const Table luma = makeTable(16, 0, 255.0 / 219);
    static const Table colors = makeTable(128, 128, 255.0 / 224);
    translate(from, to, 0, luma);
    translate(from, to, 1, colors);
    translate(from, to, 2, colors);
}

}  // namespace

JpegEncoder::JpegEncoder(int width, int height)
    : fullRange(makePictureFrame(width, height)), packet(av_packet_alloc()) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    encoder.reset(avcodec_alloc_context3(codec));
    if (!encoder || !packet) {
        throw std::runtime_error("no memory for a JPEG encoder");
    }
    encoder->width = width;
    encoder->height = height;
    encoder->pix_fmt = AV_PIX_FMT_YUVJ420P;
    encoder->time_base = {1, 1'000'000};
    encoder->thread_count = 1;  // else pictures come out later than they went in
    encoder->flags |= AV_CODEC_FLAG_QSCALE;
    encoder->global_quality = FF_QP2LAMBDA * quantiser;
    check(avcodec_open2(encoder.get(), codec, nullptr));
    fullRange->format = AV_PIX_FMT_YUVJ420P;
    fullRange->quality = encoder->global_quality;
}

std::shared_ptr<const std::string> JpegEncoder::encode(const AVFrame& picture) {
    check(av_frame_make_writable(fullRange.get()));
    widen(picture, *fullRange);
    check(avcodec_send_frame(encoder.get(), fullRange.get()));
    av_packet_unref(packet.get());
    check(avcodec_receive_packet(encoder.get(), packet.get()));
    return std::make_shared<const std::string>(reinterpret_cast<const char*>(packet->data),
                                               static_cast<std::size_t>(packet->size));
}
