#include "engine/picture_dump.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "engine/picture_shape.h"
#include "engine/source_error.h"

namespace {

constexpr const char* ending = ".jpg";
/// JPEG knows no longer side.
constexpr int longestSide = 65535;
/// 1 is the best, 31 the worst.
constexpr int quantiser = 3;

std::int64_t nanoseconds(clockid_t clock) {
    timespec time = {};
    clock_gettime(clock, &time);
    return time.tv_sec * std::int64_t{1'000'000'000} + time.tv_nsec;
}

/// As events write it.
std::string utcText(std::int64_t microseconds) {
    const std::time_t seconds = microseconds / 1'000'000;
    std::tm parts = {};
    gmtime_r(&seconds, &parts);
    char text[64];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text + length, sizeof text - length, ".%06dZ",
                  static_cast<int>(microseconds % 1'000'000));
    return text;
}

void check(int result) {
    if (result < 0) {
        throw std::runtime_error(avErrorText(result));
    }
}

}  // namespace

PictureDump::PictureDump(std::string place, int camera, std::size_t mostKept)
    : folder(std::move(place)),
      prefix("camera" + std::to_string(camera) + "_"),
      most(mostKept),
      packet(av_packet_alloc()) {
    findKept();
}

PictureDump::~PictureDump() = default;

void PictureDump::findKept() {
    std::error_code error;
    for (auto entry = std::filesystem::directory_iterator(folder, error);
         !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const std::string name = entry->path().filename();
        if (name.starts_with(prefix) && name.ends_with(ending)) {
            kept.push_back(name);
        }
    }
    if (error) {
        throw SourceError(folder + ": " + std::strerror(error.value()));
    }
    std::sort(kept.begin(), kept.end());
}

void PictureDump::onPicture(const Picture& picture) {
    try {
        const std::string name = nameOf(picture);
        encode(*picture.frame);
        write(name);
        kept.push_back(name);
        forgetOldest();
        failing = false;
    } catch (const std::exception& error) {
        if (!std::exchange(failing, true)) {
            std::fprintf(stderr, "plinth: %s: a picture could not be kept: %s\n", folder.c_str(),
                         error.what());
        }
    }
}

std::string PictureDump::nameOf(const Picture& picture) const {
    const std::int64_t offset = nanoseconds(CLOCK_REALTIME) - nanoseconds(CLOCK_MONOTONIC);
    return prefix + utcText((picture.time + offset) / 1000) + "_" +
           std::to_string(picture.time / 1000) + ending;
}

// Leaves the file's content in the packet.
void PictureDump::encode(const AVFrame& picture) {
    const PictureShape shape =
        PictureShape::of(picture.width, picture.height, picture.sample_aspect_ratio);
    if (shape.width < 1 || shape.width > longestSide || shape.height > longestSide) {
        throw std::runtime_error("it is too large");
    }
    if (!encoder || encoder->width != shape.width || encoder->height != shape.height) {
        openEncoder(shape.width, shape.height);
    }
    scale(picture);
    check(avcodec_send_frame(encoder.get(), scaled.get()));
    av_packet_unref(packet.get());
    check(avcodec_receive_packet(encoder.get(), packet.get()));
}

void PictureDump::openEncoder(int width, int height) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    AvCodec fresh(avcodec_alloc_context3(codec));
    fresh->width = width;
    fresh->height = height;
    fresh->pix_fmt = AV_PIX_FMT_YUVJ420P;
    fresh->time_base = {1, 1'000'000};
    fresh->thread_count = 1;  // else pictures come out later than they went in
    fresh->flags |= AV_CODEC_FLAG_QSCALE;
    fresh->global_quality = FF_QP2LAMBDA * quantiser;
    check(avcodec_open2(fresh.get(), codec, nullptr));
    AvFrame frame(av_frame_alloc());
    frame->width = width;
    frame->height = height;
    frame->format = AV_PIX_FMT_YUVJ420P;
    frame->quality = fresh->global_quality;
    check(av_frame_get_buffer(frame.get(), 0));
    scaled = std::move(frame);
    encoder = std::move(fresh);
}

void PictureDump::scale(const AVFrame& picture) {
    check(av_frame_make_writable(scaled.get()));
    scaler.reset(sws_getCachedContext(scaler.release(), picture.width, picture.height,
                                      static_cast<AVPixelFormat>(picture.format), scaled->width,
                                      scaled->height, AV_PIX_FMT_YUVJ420P, SWS_BILINEAR, nullptr,
                                      nullptr, nullptr));
    if (!scaler) {
        throw std::runtime_error("its form is unknown");
    }
    check(sws_scale(scaler.get(), picture.data, picture.linesize, 0, picture.height, scaled->data,
                    scaled->linesize));
}

void PictureDump::write(const std::string& name) const {
    const std::string path = folder + "/" + name;
    const std::string temporary = folder + "/." + prefix + "new";
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(packet->data), packet->size);
    file.close();
    if (!file || std::rename(temporary.c_str(), path.c_str()) != 0) {
        throw std::runtime_error(std::strerror(errno));
    }
}

void PictureDump::forgetOldest() {
    while (kept.size() > most) {
        std::remove((folder + "/" + kept.front()).c_str());
        kept.pop_front();
    }
}
