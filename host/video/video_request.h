#pragma once

#include <map>
#include <string>

#include "video/stream_wish.h"

/// What the path and the query of a request ask for:
///
///     /video/N[.jpg|.mp4][?resolution=WxH][&rotation=R]
///
/// Other names in the query are passed over.
struct VideoRequest {
    enum class Form {
        Mjpeg,  ///< one JPEG picture after the other
        Jpeg,   ///< one picture
        Mp4,
    };

    Form form = Form::Mjpeg;
    StreamWish wish;

    /// Throws WebError 404 for a path that is none of these, and for a resolution or rotation that
    /// no stream can have.
    static VideoRequest parse(const std::string& path,
                              const std::map<std::string, std::string>& query);
};
