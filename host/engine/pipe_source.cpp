#include "engine/pipe_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "engine/monotonic_clock.h"
#include "engine/picture_player.h"
#include "engine/picture_shape.h"
#include "engine/source_error.h"
#include "engine/video_decoder.h"

namespace {

/// So long without a picture, and the source counts as away.
constexpr std::int64_t awayAfter = 1'000'000'000;

bool isSameStream(const PacketStream::Record& one, const PacketStream::Record& other) {
    return one.head.session == other.head.session && one.head.codec == other.head.codec &&
           one.head.width == other.head.width && one.head.height == other.head.height &&
           one.data == other.data;
}

}  // namespace

PipeSource::PipeSource(int descriptor, std::string name, MonotonicClock& time)
    : label(std::move(name)), clock(time), pipe(fcntl(descriptor, F_DUPFD_CLOEXEC, 0)) {
    struct stat status = {};
    if (!pipe || fstat(pipe.get(), &status) != 0) {
        throw SourceError(label + ": descriptor " + std::to_string(descriptor) + ": " +
                          std::strerror(errno));
    }
    if (!S_ISFIFO(status.st_mode) && !S_ISSOCK(status.st_mode)) {
        throw SourceError(label + ": is not a pipe");
    }
    fcntl(pipe.get(), F_SETFL, fcntl(pipe.get(), F_GETFL) | O_NONBLOCK);
}

PipeSource::~PipeSource() = default;

void PipeSource::awaitStream(std::int64_t time) {
    while (!stream && clock.waitReadable(pipe.get(), time)) {
        if (readPipe() == Arrival::Ended) {
            return;
        }
        for (PacketStream::Record record; parser.next(record);) {
            if (record.head.kind == PacketStream::Kind::Stream) {
                stream = record;
            }
        }
    }
}

PipeSource::Arrival PipeSource::readPipe() {
    char buffer[64 * 1024];
    const ssize_t got = read(pipe.get(), buffer, sizeof buffer);
    if (got > 0) {
        parser.add({buffer, static_cast<std::size_t>(got)});
        return Arrival::Bytes;
    }
    return got == 0 ? Arrival::Ended : Arrival::Nothing;
}

void PipeSource::run(std::int64_t start, SourceListener& listener) {
    PicturePlayer player(label, true, 0, clock, listener);
    player.restart(start);
    lastPicture = start;
    stream.reset();
    bool away = false;
    while (!clock.isStopped()) {
        const std::int64_t nothingAt =
            away ? player.nextTime() : std::max(lastPicture + awayAfter, player.nextTime());
        const bool readable = clock.waitReadable(pipe.get(), nothingAt);
        const std::int64_t before = lastPicture;
        const bool ended = readable && readPipe() == Arrival::Ended;
        for (PacketStream::Record record; parser.next(record);) {
            if (!take(record, player)) {
                return;
            }
        }
        if (lastPicture != before) {
            away = false;
        } else if (ended || clock.now() >= nothingAt) {
            if (!std::exchange(away, true)) {
                std::fprintf(stderr, "plinth: %s: no pictures come\n", label.c_str());
                waitingForKey = true;
                player.restart(clock.now());
            }
            if (!player.showNothing()) {
                return;
            }
        }
    }
}

// False when the engine is to stop.
bool PipeSource::take(const PacketStream::Record& record, PicturePlayer& player) {
    if (record.head.kind == PacketStream::Kind::Stream) {
        takeStream(record, player);
        return true;
    }
    return takePacket(record, player);
}

void PipeSource::takeStream(const PacketStream::Record& record, PicturePlayer& player) {
    if (stream && isSameStream(*stream, record)) {
        return;
    }
    stream = record;
    waitingForKey = true;
    player.restart(clock.now());
    try {
        openDecoder(record);
        std::fprintf(stderr, "plinth: %s: pictures of %dx%d\n", label.c_str(), record.head.width,
                     record.head.height);
    } catch (const std::runtime_error& error) {
        decoder.reset();
        std::fprintf(stderr, "plinth: %s: %s\n", label.c_str(), error.what());
    }
}

void PipeSource::openDecoder(const PacketStream::Record& record) {
    if (record.head.codec >= AV_CODEC_ID_FIRST_AUDIO) {
        throw std::runtime_error("the stream is no video");
    }
    const AvCodecParameters parameters(avcodec_parameters_alloc());
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = static_cast<AVCodecID>(record.head.codec);
    parameters->codec_tag = record.head.tag;
    parameters->width = record.head.width;
    parameters->height = record.head.height;
    if (!record.data.empty()) {
        parameters->extradata = static_cast<std::uint8_t*>(
            av_mallocz(record.data.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        std::memcpy(parameters->extradata, record.data.data(), record.data.size());
        parameters->extradata_size = static_cast<int>(record.data.size());
    }
    decoder = std::make_unique<VideoDecoder>(*parameters);
}

bool PipeSource::takePacket(const PacketStream::Record& record, PicturePlayer& player) {
    if (!decoder || record.head.session != stream->head.session ||
        (waitingForKey && record.head.isKey == 0)) {
        return true;
    }
    waitingForKey = false;
    const AvPacket packet(av_packet_alloc());
    if (av_new_packet(packet.get(), static_cast<int>(record.data.size())) < 0) {
        return true;
    }
    std::memcpy(packet->data, record.data.data(), record.data.size());
    packet->pts = record.head.time == PacketStream::noTime ? AV_NOPTS_VALUE : record.head.time;
    packet->flags = record.head.isKey != 0 ? AV_PKT_FLAG_KEY : 0;
    decoder->send(packet.get());
    while (const AVFrame* picture = decoder->receive()) {
        lastPicture = clock.now();
        const std::int64_t time = picture->best_effort_timestamp;
        if (!player.show(*picture, time == AV_NOPTS_VALUE ? std::nullopt : std::optional(time))) {
            return false;
        }
    }
    return true;
}

SourceDescription PipeSource::describe() const {
    SourceDescription description;
    description.kind = "pipe";
    description.name = label;
    if (stream && stream->head.width > 0 && stream->head.height > 0) {
        const PacketStream::Head& head = stream->head;
        const PictureShape shape =
            PictureShape::of(head.width, head.height, {head.pixelWidth, head.pixelHeight});
        description.width = shape.width;
        description.height = shape.height;
        if (head.rate > 0 && head.rateSeconds > 0) {
            description.framesPerSecond = av_q2d({head.rate, head.rateSeconds});
        }
    }
    return description;
}
