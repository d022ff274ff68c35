#include "rtsp_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <chrono>
#include <stdexcept>
#include <utility>

#include "engine/av_pointers.h"

using namespace std::chrono_literals;

namespace {

constexpr int packetSize = 1400;

/// The clip as RTP packets, each sent to the viewer in RTSP's own framing.
class RtpClip {
public:
    RtpClip(const std::string& path, int viewer) : socket(viewer) {
        AVFormatContext* opening = nullptr;
        if (avformat_open_input(&opening, path.c_str(), nullptr, nullptr) < 0) {
            throw std::runtime_error(path);
        }
        source.reset(opening);
        avformat_find_stream_info(source.get(), nullptr);
        avformat_alloc_output_context2(&sink, nullptr, "rtp", nullptr);
        AVStream* stream = avformat_new_stream(sink, nullptr);
        avcodec_parameters_copy(stream->codecpar, source->streams[0]->codecpar);
        stream->codecpar->codec_tag = 0;
        output.reset(avio_alloc_context(static_cast<unsigned char*>(av_malloc(packetSize)),
                                        packetSize, 1, this, nullptr, send, nullptr));
        output->max_packet_size = packetSize;
        sink->pb = output.get();
        sink->packet_size = packetSize;
        if (avformat_write_header(sink, nullptr) < 0) {
            throw std::runtime_error("no packets can be made of " + path);
        }
    }
    ~RtpClip() {
        av_write_trailer(sink);
        avformat_free_context(sink);
    }
    RtpClip(const RtpClip&) = delete;
    RtpClip& operator=(const RtpClip&) = delete;

    std::string description() {
        char text[4096] = {};
        av_sdp_create(&sink, 1, text, sizeof text);
        return text;
    }

    void play() {
        const AvPacket packet(av_packet_alloc());
        while (!broken && av_read_frame(source.get(), packet.get()) == 0) {
            av_packet_rescale_ts(packet.get(), source->streams[0]->time_base,
                                 sink->streams[0]->time_base);
            av_write_frame(sink, packet.get());
            av_packet_unref(packet.get());
            std::this_thread::sleep_for(10ms);
        }
    }

private:
    static int send(void* self, std::uint8_t* data, int size) {
        auto& clip = *static_cast<RtpClip*>(self);
        const bool control = size > 1 && data[1] >= 200 && data[1] <= 204;
        std::string framed = {'$', static_cast<char>(control ? 1 : 0), static_cast<char>(size >> 8),
                              static_cast<char>(size)};
        framed.append(reinterpret_cast<char*>(data), static_cast<std::size_t>(size));
        if (::send(clip.socket, framed.data(), framed.size(), MSG_NOSIGNAL) < 0) {
            clip.broken = true;
        }
        return size;
    }

    const int socket;
    bool broken = false;
    AvFormat source;
    AvInput output;
    AVFormatContext* sink = nullptr;
};

std::string headerOf(const std::string& request, const std::string& name) {
    const std::size_t begin = request.find(name + ": ");
    if (begin == std::string::npos) {
        return "";
    }
    const std::size_t value = begin + name.size() + 2;
    return request.substr(value, request.find('\r', value) - value);
}

}  // namespace

RtspServer::RtspServer(std::string clipPath) : clip(std::move(clipPath)) {
    listener = FileDescriptor(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(listener.get(), reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0 ||
        listen(listener.get(), 5) != 0) {
        throw std::runtime_error("no port on the loopback");
    }
    port = ntohs(address.sin_port);
    thread = std::thread([this] { serve(); });
}

RtspServer::~RtspServer() {
    ending = true;
    thread.join();
}

void RtspServer::serve() {
    while (!ending) {
        pollfd waiting = {listener.get(), POLLIN, 0};
        if (poll(&waiting, 1, 20) > 0) {
            const FileDescriptor viewer(accept(listener.get(), nullptr, nullptr));
            serveViewer(viewer.get());
        }
    }
}

void RtspServer::serveViewer(int viewer) {
    RtpClip packets(clip, viewer);
    std::string request;
    while (!ending) {
        pollfd waiting = {viewer, POLLIN, 0};
        if (poll(&waiting, 1, 20) <= 0) {
            continue;
        }
        char buffer[4096];
        const ssize_t got = recv(viewer, buffer, sizeof buffer, 0);
        if (got <= 0) {
            return;
        }
        request.append(buffer, static_cast<std::size_t>(got));
        if (!request.ends_with("\r\n\r\n")) {
            continue;
        }
        std::string extra;
        std::string body;
        if (request.starts_with("DESCRIBE")) {
            body = packets.description();
            extra =
                "Content-Type: application/sdp\r\nContent-Length: " + std::to_string(body.size()) +
                "\r\n";
        } else if (request.starts_with("SETUP")) {
            extra = "Transport: RTP/AVP/TCP;unicast;interleaved=0-1\r\n";
        }
        const std::string answer = "RTSP/1.0 200 OK\r\nCSeq: " + headerOf(request, "CSeq") +
                                   "\r\nSession: 1\r\n" + extra + "\r\n" + body;
        send(viewer, answer.data(), answer.size(), MSG_NOSIGNAL);
        if (request.starts_with("PLAY")) {
            ++playCount;
            packets.play();
            return;
        }
        request.clear();
    }
}
