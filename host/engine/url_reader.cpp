#include "engine/url_reader.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "engine/packet_stream.h"

extern "C" {
#include <libavutil/time.h>
}

namespace {

constexpr AVRational nanoseconds = {1, 1'000'000'000};
constexpr AVRational microseconds = {1, 1'000'000};
constexpr std::int64_t firstRest = 500;  // milliseconds
constexpr std::int64_t longestRest = 10'000;
constexpr int fullPipeWait = 2000;                // milliseconds
constexpr std::int64_t longestJump = 10'000'000;  // microseconds
constexpr int pipeSize = 1 << 20;

/// A playlist or a redirection leads nowhere but to the network.
constexpr const char* protocols = "rtp,srtp,udp,tcp,tls,http,https,httpproxy,crypto,rtmp,rtmps,srt";

class Options {
public:
    Options() = default;
    ~Options() { av_dict_free(&dictionary); }
    Options(const Options&) = delete;
    Options& operator=(const Options&) = delete;
    void set(const char* name, const char* value) { av_dict_set(&dictionary, name, value, 0); }
    AVDictionary** get() { return &dictionary; }

private:
    AVDictionary* dictionary = nullptr;
};

void require(int result, const char* what) {
    if (result < 0) {
        throw std::runtime_error(std::string(what) + avErrorText(result));
    }
}

}  // namespace

UrlReader::UrlReader(SourceUrl source, bool readOnce, int output)
    : url(std::move(source)), once(readOnce), pipe(output), packet(av_packet_alloc()) {
    avformat_network_init();
    // Room for the pictures of a moment in which the engine is busy.
    fcntl(pipe, F_SETPIPE_SZ, pipeSize);
    // Sessions of successive readers of one pipe must differ, too.
    session = static_cast<std::uint32_t>(av_gettime() / 1000);
}

void UrlReader::run() {
    for (std::int64_t pause = firstRest;; pause = std::min(pause * 2, longestRest)) {
        const End end = readSession();
        if (end == End::NoReader || (end == End::Finished && once)) {
            return;
        }
        if (fetched) {
            pause = firstRest;
        }
        if (end == End::Lost && !rest(pause)) {
            return;
        }
    }
}

// One connection, from its opening to its end.
UrlReader::End UrlReader::readSession() {
    ++session;
    skipping = true;
    fetched = false;
    try {
        open();
        report("connected");
        const End end = forward();
        if (end == End::Lost) {
            report("the stream was lost");
        }
        format.reset();
        return end;
    } catch (const std::runtime_error& error) {
        format.reset();
        report(error.what());
        return isReaderGone(this) != 0 ? End::NoReader : End::Lost;
    }
}

void UrlReader::open() {
    AVFormatContext* opening = avformat_alloc_context();
    opening->interrupt_callback = {isReaderGone, this};
    Options options;
    options.set("protocol_whitelist", protocols);
    options.set("rw_timeout", "5000000");
    if (url.scheme.starts_with("rtsp")) {
        options.set("rtsp_flags", "prefer_tcp");
        options.set("timeout", "5000000");
    }
    require(avformat_open_input(&opening, url.text.c_str(), nullptr, options.get()), "");
    format.reset(opening);
    const std::string_view kind = format->iformat->name;
    const bool timeless = kind == "mpjpeg" || kind == "mjpeg";
    if (timeless) {
        format->use_wallclock_as_timestamps = 1;
    }
    paced = !url.isLive() && !timeless;
    paceStart = AV_NOPTS_VALUE;
    require(avformat_find_stream_info(format.get(), nullptr), "");
    streamIndex = av_find_best_stream(format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    require(streamIndex, "no video stream: ");
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        format->streams[i]->discard =
            static_cast<int>(i) == streamIndex ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
}

UrlReader::End UrlReader::forward() {
    for (;;) {
        const int error = av_read_frame(format.get(), packet.get());
        if (error < 0) {
            if (isReaderGone(this) != 0) {
                return End::NoReader;
            }
            // A live stream has no end of its own.
            return error == AVERROR_EOF && !url.isLive() && fetched ? End::Finished : End::Lost;
        }
        const bool goesOn = packet->stream_index != streamIndex || forwardPacket();
        av_packet_unref(packet.get());
        if (!goesOn) {
            return End::NoReader;
        }
    }
}

// False when nobody reads the pipe any more.
bool UrlReader::forwardPacket() {
    fetched = true;
    waitForItsTime();
    const bool isKey = (packet->flags & AV_PKT_FLAG_KEY) != 0;
    if (!hasRoom()) {
        skipping = true;
    } else if (isKey) {
        skipping = false;
    }
    if (skipping) {
        return isReaderGone(this) == 0;
    }
    if (isKey && !describe()) {
        return false;
    }
    PacketStream::Head head;
    head.kind = PacketStream::Kind::Packet;
    head.session = session;
    head.isKey = isKey ? 1 : 0;
    const std::int64_t time = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
    if (time != AV_NOPTS_VALUE) {
        head.time = av_rescale_q(time, format->streams[streamIndex]->time_base, nanoseconds);
    }
    return write(PacketStream::format(head, {reinterpret_cast<const char*>(packet->data),
                                             static_cast<std::size_t>(packet->size)}));
}

// What comes as fast as it is taken is taken at its own pace.
void UrlReader::waitForItsTime() {
    if (!paced || packet->dts == AV_NOPTS_VALUE) {
        return;
    }
    const std::int64_t stream =
        av_rescale_q(packet->dts, format->streams[streamIndex]->time_base, microseconds);
    const std::int64_t now = av_gettime_relative();
    const std::int64_t early = paceStart + stream - now;
    if (paceStart == AV_NOPTS_VALUE || early > longestJump || early < -longestJump) {
        paceStart = now - stream;
    } else if (early > 0) {
        rest(early / 1000);
    }
}

bool UrlReader::describe() {
    const AVStream& stream = *format->streams[streamIndex];
    const AVCodecParameters& parameters = *stream.codecpar;
    const AVRational pixel =
        av_guess_sample_aspect_ratio(format.get(), format->streams[streamIndex], nullptr);
    PacketStream::Head head;
    head.session = session;
    head.codec = static_cast<std::uint32_t>(parameters.codec_id);
    head.tag = parameters.codec_tag;
    head.width = parameters.width;
    head.height = parameters.height;
    head.pixelWidth = pixel.num;
    head.pixelHeight = pixel.den;
    head.rate = stream.avg_frame_rate.num;
    head.rateSeconds = stream.avg_frame_rate.den;
    return write(PacketStream::format(head, {reinterpret_cast<const char*>(parameters.extradata),
                                             static_cast<std::size_t>(parameters.extradata_size)}));
}

bool UrlReader::hasRoom() {
    pollfd waiting = {pipe, POLLOUT, 0};
    return poll(&waiting, 1, fullPipeWait) > 0 && (waiting.revents & POLLOUT) != 0;
}

// A record that was begun is finished, however long that takes: half a one would be lost for all.
bool UrlReader::write(const std::string& bytes) {
    for (std::size_t written = 0; written < bytes.size();) {
        const ssize_t count = ::write(pipe, bytes.data() + written, bytes.size() - written);
        if (count > 0) {
            written += static_cast<std::size_t>(count);
        } else if (count < 0 && errno == EAGAIN) {
            pollfd waiting = {pipe, POLLOUT, 0};
            poll(&waiting, 1, -1);
        } else if (count < 0 && errno != EINTR) {
            return false;
        }
    }
    return true;
}

// Waits; false when nobody reads the pipe any more.
bool UrlReader::rest(std::int64_t milliseconds) {
    pollfd waiting = {pipe, 0, 0};
    return poll(&waiting, 1, static_cast<int>(milliseconds)) == 0;
}

int UrlReader::isReaderGone(void* self) {
    pollfd waiting = {static_cast<UrlReader*>(self)->pipe, 0, 0};
    return poll(&waiting, 1, 0) > 0 ? 1 : 0;
}

// The same again and again is told once.
void UrlReader::report(const std::string& text) {
    if (std::exchange(told, text) != text) {
        std::fprintf(stderr, "plinth-reader: %s: %s\n", url.text.c_str(), text.c_str());
    }
}
