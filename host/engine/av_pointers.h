#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <string>

/// Owners of what libav allocates.
template <auto free>
struct AvDeleter {
    template <typename T>
    void operator()(T* pointer) const {
        free(&pointer);
    }
};

struct SwsDeleter {
    void operator()(SwsContext* context) const { sws_freeContext(context); }
};

struct InputDeleter {
    void operator()(AVIOContext* input) const {
        av_freep(&input->buffer);  // libav may have put another in its place
        avio_context_free(&input);
    }
};

/// The output itself is another's.
struct OutputFormatDeleter {
    void operator()(AVFormatContext* context) const { avformat_free_context(context); }
};

using AvInput = std::unique_ptr<AVIOContext, InputDeleter>;
using AvOutputFormat = std::unique_ptr<AVFormatContext, OutputFormatDeleter>;
using AvFormat = std::unique_ptr<AVFormatContext, AvDeleter<avformat_close_input>>;
using AvCodec = std::unique_ptr<AVCodecContext, AvDeleter<avcodec_free_context>>;
using AvCodecParameters = std::unique_ptr<AVCodecParameters, AvDeleter<avcodec_parameters_free>>;
using AvPacket = std::unique_ptr<AVPacket, AvDeleter<av_packet_free>>;
using AvFrame = std::unique_ptr<AVFrame, AvDeleter<av_frame_free>>;
using AvScaler = std::unique_ptr<SwsContext, SwsDeleter>;

/// What libav calls the error.
inline std::string avErrorText(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return text;
}
