#include "engine/video_file.h"

#include <cerrno>
#include <cstdio>
#include <stdexcept>

#include "engine/source_error.h"

namespace {

constexpr int bufferSize = 64 * 1024;
constexpr AVRational nanoseconds = {1, 1'000'000'000};

/// Real containers and streams; libav also takes texts and pictures for videos.
constexpr const char* containers =
    "avi,matroska,webm,mov,mp4,m4a,3gp,3g2,mj2,mpegts,mpeg,mpegvideo,m4v,h264,hevc,av1,ivf,obu,asf,"
    "flv,"
    "ogg,mjpeg,mpjpeg,mxf,nut,dv,gif,yuv4mpegpipe,rm,wtv,vc1,h263,swf";

// A playlist or a description of parts may name other files.
int refuseToOpen(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
    return AVERROR(EPERM);
}

void require(int result, const char* what) {
    if (result < 0) {
        throw std::runtime_error(std::string(what) + ": " + avErrorText(result));
    }
}

}  // namespace

VideoFile::VideoFile(const InputFile& source) : file(source), packet(av_packet_alloc()) {
    try {
        open();
    } catch (const std::runtime_error& error) {
        throw SourceError(file.name() + ": " + error.what());
    }
}

void VideoFile::open() {
    auto* buffer = static_cast<unsigned char*>(av_malloc(bufferSize));
    input.reset(avio_alloc_context(buffer, bufferSize, 0, this, readBytes, nullptr, seek));
    AVFormatContext* opening = avformat_alloc_context();
    opening->pb = input.get();
    opening->io_open = refuseToOpen;
    opening->format_whitelist = av_strdup(containers);
    // The name serves as a hint at the kind only. On failure the context is gone.
    require(avformat_open_input(&opening, file.name().c_str(), nullptr, nullptr), "is no video");
    format.reset(opening);
    require(avformat_find_stream_info(format.get(), nullptr), "is no video");
    streamIndex = av_find_best_stream(format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    require(streamIndex, "has no video stream");
    decoder = std::make_unique<VideoDecoder>(*stream().codecpar);
}

int VideoFile::readBytes(void* self, std::uint8_t* buffer, int size) {
    auto& video = *static_cast<VideoFile*>(self);
    const std::ptrdiff_t got =
        video.file.readAt(video.position, buffer, static_cast<std::size_t>(size));
    if (got < 0) {
        return AVERROR(errno);
    }
    video.position += got;
    return got == 0 ? AVERROR_EOF : static_cast<int>(got);
}

std::int64_t VideoFile::seek(void* self, std::int64_t offset, int whence) {
    auto& video = *static_cast<VideoFile*>(self);
    switch (whence & ~AVSEEK_FORCE) {
        case AVSEEK_SIZE:
            return video.file.size();
        case SEEK_SET:
            break;
        case SEEK_CUR:
            offset += video.position;
            break;
        case SEEK_END:
            offset += video.file.size();
            break;
        default:
            return AVERROR(EINVAL);
    }
    if (offset < 0) {
        return AVERROR(EINVAL);
    }
    return video.position = offset;
}

const AVFrame* VideoFile::next() {
    for (;;) {
        picture = decoder->receive();
        if (picture != nullptr) {
            return picture;
        }
        if (drained || !sendNextPacket()) {
            return nullptr;
        }
    }
}

// At the end, what the decoder still holds is asked for. False when there is nothing more to send.
bool VideoFile::sendNextPacket() {
    for (;;) {
        const int error = av_read_frame(format.get(), packet.get());
        if (error == AVERROR(EAGAIN)) {
            continue;
        }
        if (error < 0) {
            readError = error == AVERROR_EOF ? 0 : error;
            drained = true;
            decoder->send(nullptr);
            picture = nullptr;
            return true;
        }
        const bool wanted = packet->stream_index == streamIndex;
        if (wanted) {
            decoder->send(packet.get());
        }
        av_packet_unref(packet.get());
        if (wanted) {
            return true;
        }
    }
}

std::optional<std::int64_t> VideoFile::time() const {
    if (picture == nullptr || picture->best_effort_timestamp == AV_NOPTS_VALUE) {
        return {};
    }
    return av_rescale_q(picture->best_effort_timestamp, stream().time_base, nanoseconds);
}

const AVStream& VideoFile::stream() const {
    return *format->streams[streamIndex];
}

PictureShape VideoFile::shape() const {
    const AVCodecParameters& parameters = *stream().codecpar;
    return PictureShape::of(
        parameters.width, parameters.height,
        av_guess_sample_aspect_ratio(format.get(), format->streams[streamIndex], nullptr));
}

double VideoFile::framesPerSecond() const {
    const AVRational rate =
        av_guess_frame_rate(format.get(), format->streams[streamIndex], nullptr);
    return rate.num > 0 && rate.den > 0 ? av_q2d(rate) : 0;
}
