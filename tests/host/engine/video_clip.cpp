#include "video_clip.h"

#include <opencv2/imgproc.hpp>
#include <stdexcept>

#include "engine/av_pointers.h"

namespace {

void require(int result) {
    if (result < 0) {
        throw std::runtime_error(avErrorText(result));
    }
}

cv::Mat ground(int width, int height) {
    cv::RNG random(7);
    cv::Mat picture(height, width, CV_8UC3);
    random.fill(picture, cv::RNG::UNIFORM, 60, 180);
    cv::GaussianBlur(picture, picture, {7, 7}, 0);
    return picture;
}

void drain(AVCodecContext* encoder, AVFormatContext* file, AVStream* stream) {
    const AvPacket packet(av_packet_alloc());
    while (avcodec_receive_packet(encoder, packet.get()) == 0) {
        av_packet_rescale_ts(packet.get(), encoder->time_base, stream->time_base);
        packet->stream_index = stream->index;
        require(av_interleaved_write_frame(file, packet.get()));
    }
}

}  // namespace

void VideoClip::write(const std::string& path) const {
    AVFormatContext* file = nullptr;
    require(avformat_alloc_output_context2(&file, nullptr, nullptr, path.c_str()));
    const AVCodec* kind = avcodec_find_encoder_by_name(codec.c_str());
    const AvCodec encoder(avcodec_alloc_context3(kind));
    encoder->width = width;
    encoder->height = height;
    encoder->time_base = {1, picturesPerSecond};
    encoder->framerate = {picturesPerSecond, 1};
    encoder->pix_fmt = codec == "mjpeg" ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUV420P;
    encoder->gop_size = 10;
    encoder->bit_rate = 2'000'000;
    encoder->thread_count = 1;
    if ((file->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
        encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    require(avcodec_open2(encoder.get(), kind, nullptr));
    AVStream* stream = avformat_new_stream(file, nullptr);
    stream->time_base = encoder->time_base;
    stream->avg_frame_rate = encoder->framerate;
    require(avcodec_parameters_from_context(stream->codecpar, encoder.get()));
    require(avio_open(&file->pb, path.c_str(), AVIO_FLAG_WRITE));
    require(avformat_write_header(file, nullptr));

    const AvFrame frame(av_frame_alloc());
    frame->width = width;
    frame->height = height;
    frame->format = encoder->pix_fmt;
    require(av_frame_get_buffer(frame.get(), 0));
    const AvScaler scaler(sws_getContext(width, height, AV_PIX_FMT_BGR24, width, height,
                                         encoder->pix_fmt, SWS_AREA, nullptr, nullptr, nullptr));
    for (int i = 0; i < pictures; ++i) {
        cv::Mat picture = ground(width, height);
        draw(picture, i);
        require(av_frame_make_writable(frame.get()));
        const std::uint8_t* const planes[] = {picture.data, nullptr, nullptr, nullptr};
        const int strides[] = {static_cast<int>(picture.step), 0, 0, 0};
        sws_scale(scaler.get(), planes, strides, 0, height, frame->data, frame->linesize);
        frame->pts = i;
        require(avcodec_send_frame(encoder.get(), frame.get()));
        drain(encoder.get(), file, stream);
    }
    require(avcodec_send_frame(encoder.get(), nullptr));
    drain(encoder.get(), file, stream);
    require(av_write_trailer(file));
    avio_closep(&file->pb);
    avformat_free_context(file);
}
