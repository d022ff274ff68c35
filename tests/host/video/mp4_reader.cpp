#include "host/video/mp4_reader.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr AVRational microseconds = {1, 1'000'000};

struct Source {
    const std::string& bytes;
    std::size_t at = 0;
};

int readSome(void* opaque, std::uint8_t* buffer, int size) {
    auto& source = *static_cast<Source*>(opaque);
    const std::size_t count =
        std::min(static_cast<std::size_t>(size), source.bytes.size() - source.at);
    if (count == 0) {
        return AVERROR_EOF;
    }
    std::memcpy(buffer, source.bytes.data() + source.at, count);
    source.at += count;
    return static_cast<int>(count);
}

void decode(AVCodecContext& decoder, const AVPacket* packet, std::vector<AvFrame>& pictures) {
    avcodec_send_packet(&decoder, packet);
    for (AvFrame frame(av_frame_alloc()); avcodec_receive_frame(&decoder, frame.get()) == 0;
         frame.reset(av_frame_alloc())) {
        pictures.push_back(std::move(frame));
    }
}

}  // namespace

Mp4Reader::Mp4Reader(const std::string& file) {
    Source source = {file};
    auto* buffer = static_cast<unsigned char*>(av_malloc(4096));
    const AvInput input(avio_alloc_context(buffer, 4096, 0, &source, readSome, nullptr, nullptr));
    AVFormatContext* context = avformat_alloc_context();
    context->pb = input.get();
    if (avformat_open_input(&context, nullptr, av_find_input_format("mp4"), nullptr) < 0) {
        return;
    }
    const AvFormat format(context);
    if (format->nb_streams != 1) {
        return;
    }
    isOpen = true;
    const AVStream& stream = *format->streams[0];
    width = stream.codecpar->width;
    height = stream.codecpar->height;
    char tag[AV_FOURCC_MAX_STRING_SIZE] = {};
    videoFormat = av_fourcc_make_string(tag, stream.codecpar->codec_tag);
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    const AvCodec decoder(avcodec_alloc_context3(codec));
    avcodec_parameters_to_context(decoder.get(), stream.codecpar);
    decoder->thread_count = 1;
    avcodec_open2(decoder.get(), codec, nullptr);
    const AvPacket packet(av_packet_alloc());
    while (av_read_frame(format.get(), packet.get()) == 0) {
        packets.push_back({av_rescale_q(packet->pts, stream.time_base, microseconds),
                           av_rescale_q(packet->duration, stream.time_base, microseconds),
                           (packet->flags & AV_PKT_FLAG_KEY) != 0});
        decode(*decoder, packet.get(), pictures);
        av_packet_unref(packet.get());
    }
    decode(*decoder, nullptr, pictures);
}

std::vector<std::string> mp4BoxesOf(const std::string& file) {
    std::vector<std::string> names;
    for (std::size_t at = 0; at < file.size();) {
        std::size_t size = 0;
        for (std::size_t i = 0; i < 4 && at + i < file.size(); ++i) {
            size = size << 8 | static_cast<unsigned char>(file[at + i]);
        }
        if (size < 8 || at + size > file.size()) {
            names.emplace_back("?");
            break;
        }
        names.push_back(file.substr(at + 4, 4));
        at += size;
    }
    return names;
}
