#include "video/h264_encoder.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <stdexcept>

namespace {

constexpr std::int64_t never = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t keyInterval = 2'000'000;  // microseconds
/// Key pictures are asked for by time: more than this would have to come between two of them.
constexpr int mostBetweenKeys = 100'000;

struct Dictionary {
    AVDictionary* entries = nullptr;
    Dictionary() = default;
    ~Dictionary() { av_dict_free(&entries); }
    Dictionary(const Dictionary&) = delete;
    Dictionary& operator=(const Dictionary&) = delete;
    void set(const char* name, const char* value) { av_dict_set(&entries, name, value, 0); }
};

void check(int result) {
    if (result < 0) {
        throw std::runtime_error("a picture could not be encoded as H.264: " + avErrorText(result));
    }
}

AvCodec openEncoder(int width, int height) {
    const AVCodec* codec = avcodec_find_encoder_by_name("libx264");
    AvCodec encoder(codec == nullptr ? nullptr : avcodec_alloc_context3(codec));
    if (!encoder) {
        throw std::runtime_error("there is no H.264 encoder");
    }
    encoder->width = width;
    encoder->height = height;
    encoder->pix_fmt = AV_PIX_FMT_YUV420P;
    encoder->time_base = {1, 1'000'000};
    encoder->framerate = {25, 1};
    encoder->thread_count = 1;
    encoder->gop_size = mostBetweenKeys;
    encoder->max_b_frames = 0;
    encoder->colorspace = AVCOL_SPC_SMPTE170M;
    encoder->color_primaries = AVCOL_PRI_SMPTE170M;
    encoder->color_trc = AVCOL_TRC_SMPTE170M;
    encoder->color_range = AVCOL_RANGE_MPEG;
    encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    encoder->log_level_offset = AV_LOG_TRACE;  // it would tell its settings at each start
    Dictionary options;
    options.set("preset", "veryfast");
    options.set("tune", "zerolatency");
    options.set("crf", "23");
    options.set("forced-idr", "1");
    options.set("x264-params", "scenecut=0");
    check(avcodec_open2(encoder.get(), codec, &options.entries));
    return encoder;
}

}  // namespace

H264Encoder::H264Encoder(int width, int height)
    : encoder(openEncoder(width & ~1, height & ~1)),
      cropped(av_frame_alloc()),
      packet(av_packet_alloc()),
      format{encoder->width, encoder->height,
             std::string(reinterpret_cast<const char*>(encoder->extradata),
                         static_cast<std::size_t>(encoder->extradata_size))},
      lastTime(never),
      lastKeyTime(never) {
    if (!cropped || !packet) {
        throw std::runtime_error("no memory for an H.264 encoder");
    }
}

std::shared_ptr<const H264Picture> H264Encoder::encode(const AVFrame& picture, std::int64_t time,
                                                       bool mustBeKey) {
    const std::int64_t now = nextTime(time);
    const bool isKey = mustBeKey || lastKeyTime == never || now - lastKeyTime >= keyInterval;
    av_frame_unref(cropped.get());
    check(av_frame_ref(cropped.get(), &picture));
    cropped->width = format.width;
    cropped->height = format.height;
    cropped->pts = now;
    cropped->pict_type = isKey ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    const int sent = avcodec_send_frame(encoder.get(), cropped.get());
    av_frame_unref(cropped.get());
    check(sent);
    av_packet_unref(packet.get());
    check(avcodec_receive_packet(encoder.get(), packet.get()));
    const bool hasBecomeKey = (packet->flags & AV_PKT_FLAG_KEY) != 0;
    if (hasBecomeKey) {
        lastKeyTime = now;
    }
    return std::make_shared<const H264Picture>(
        H264Picture{std::string(reinterpret_cast<const char*>(packet->data),
                                static_cast<std::size_t>(packet->size)),
                    hasBecomeKey, now});
}

std::int64_t H264Encoder::nextTime(std::int64_t time) {
    lastTime = lastTime == never ? time : std::max(time, lastTime + 1);
    return lastTime;
}
