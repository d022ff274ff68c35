#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "engine/av_pointers.h"
#include "video/composer.h"
#include "video/h264_encoder.h"
#include "video/jpeg_encoder.h"
#include "video/picture_turner.h"
#include "video/stream.h"

class OverlaySource;
class UserOverlayRenderer;

/// What somebody wants of a stream's next picture.
struct StreamDemand {
    bool jpeg = false;
    bool video = false;
    bool keyPicture = false;  ///< of the video

    bool isNone() const { return !jpeg && !video; }

    friend bool operator==(const StreamDemand&, const StreamDemand&) = default;
};

/// A picture with all that lies over it, encoded. Null where it was not wanted.
struct ComposedPicture {
    std::shared_ptr<const std::string> jpeg;
    std::shared_ptr<const H264Picture> video;
    std::shared_ptr<const H264Format> videoFormat;
};

/// Makes the pictures of one stream: brings them to its size and rotation, lays the overlays over
/// them and encodes them. Holds what that needs from one picture to the next. Used from one thread.
class StreamPainter {
public:
    /// `source` and `renderer` are borrowed. Throws std::runtime_error without memory.
    StreamPainter(const Stream& target, const OverlaySource& source, UserOverlayRenderer& renderer);

    /// `time`, in microseconds, is the picture's in the video. Throws std::runtime_error when it
    /// cannot be made.
    ComposedPicture paint(const AVFrame& upright, std::int64_t time, const StreamDemand& demand);

private:
    void layOver(AVFrame& picture);
    void encodeVideo(const AVFrame& picture, std::int64_t time, const StreamDemand& demand,
                     ComposedPicture& result);

    const Stream stream;
    const OverlaySource& overlays;
    UserOverlayRenderer& userOverlays;
    PictureTurner turner;
    Composer composer;
    std::unique_ptr<JpegEncoder> jpegEncoder;       // null before it is needed
    std::unique_ptr<H264Encoder> videoEncoder;      // null while no video is wanted
    std::shared_ptr<const H264Format> videoFormat;  // the encoder's
};
