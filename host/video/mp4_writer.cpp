#include "video/mp4_writer.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "video/h264_encoder.h"

namespace {

constexpr AVRational microseconds = {1, 1'000'000};
constexpr int bufferBytes = 64 * 1024;
constexpr std::int64_t usualInterval = 40'000;
constexpr std::int64_t leastInterval = 1'000;

int check(int result) {
    if (result < 0) {
        throw std::runtime_error("video could not be written as MP4: " + avErrorText(result));
    }
    return result;
}

void setFormat(AVCodecParameters& parameters, const H264Format& format) {
    parameters.codec_type = AVMEDIA_TYPE_VIDEO;
    parameters.codec_id = AV_CODEC_ID_H264;
    parameters.width = format.width;
    parameters.height = format.height;
    parameters.format = AV_PIX_FMT_YUV420P;
    const std::size_t size = format.parameterSets.size();
    parameters.extradata =
        static_cast<std::uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
    if (parameters.extradata == nullptr) {
        throw std::runtime_error("no memory for video");
    }
    std::memcpy(parameters.extradata, format.parameterSets.data(), size);
    parameters.extradata_size = static_cast<int>(size);
}

AvInput openOutput(Mp4Writer* writer, int (*take)(void*, std::uint8_t*, int)) {
    auto* buffer = static_cast<unsigned char*>(av_malloc(bufferBytes));
    AvInput output(buffer == nullptr ? nullptr
                                     : avio_alloc_context(buffer, bufferBytes, 1, writer, nullptr,
                                                          take, nullptr));
    if (!output) {
        av_free(buffer);
        throw std::runtime_error("no memory for video");
    }
    output->seekable = 0;
    return output;
}

}  // namespace

Mp4Writer::Mp4Writer(const H264Format& format)
    : output(openOutput(this, take)), packet(av_packet_alloc()) {
    AVFormatContext* context = nullptr;
    check(avformat_alloc_output_context2(&context, nullptr, "mp4", nullptr));
    muxer.reset(context);
    AVStream* stream = avformat_new_stream(context, nullptr);
    if (stream == nullptr || !packet) {
        throw std::runtime_error("no memory for video");
    }
    context->pb = output.get();
    context->flags |= AVFMT_FLAG_CUSTOM_IO;
    stream->time_base = {1, 90'000};
    setFormat(*stream->codecpar, format);
    AVDictionary* options = nullptr;
    av_dict_set(&options, "movflags", "empty_moov+default_base_moof+frag_every_frame", 0);
    const int result = avformat_write_header(context, &options);
    av_dict_free(&options);
    check(result);
}

Mp4Writer::~Mp4Writer() = default;

std::string Mp4Writer::write(const H264Picture& picture) {
    setTimes(picture.time);
    check(av_new_packet(packet.get(), static_cast<int>(picture.data.size())));
    std::memcpy(packet->data, picture.data.data(), picture.data.size());
    packet->pts = packet->dts = shownFrom;
    packet->duration = shownTo - shownFrom;
    packet->flags = picture.isKey ? AV_PKT_FLAG_KEY : 0;
    av_packet_rescale_ts(packet.get(), microseconds, muxer->streams[0]->time_base);
    // Else the picture would begin where the last one was told to end.
    check(av_opt_set(muxer->priv_data, "movflags", "+frag_discont", 0));
    const int result = av_write_frame(muxer.get(), packet.get());
    av_packet_unref(packet.get());
    check(result);
    check(av_write_frame(muxer.get(), nullptr));  // now, not with the next picture
    avio_flush(output.get());
    return std::exchange(taken, {});
}

// How long a picture is shown is told before it is known: as long as one of the last two. One that
// comes earlier than told begins late, and is told to be shorter so that the next is right again.
void Mp4Writer::setTimes(std::int64_t pictureTime) {
    if (!firstTime) {
        firstTime = lastTime = pictureTime;
        lastInterval = interval = usualInterval;
    } else {
        lastInterval = std::exchange(interval, pictureTime - lastTime);
        lastTime = pictureTime;
    }
    const std::int64_t time = pictureTime - *firstTime;
    shownFrom = std::max(time, shownTo);
    shownTo = std::max(time + std::min(interval, lastInterval), shownFrom + leastInterval);
}

int Mp4Writer::take(void* writer, std::uint8_t* data, int size) {
    static_cast<Mp4Writer*>(writer)->taken.append(reinterpret_cast<const char*>(data),
                                                  static_cast<std::size_t>(size));
    return size;
}
