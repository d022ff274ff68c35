#include "video/video_request.h"

#include <string_view>

#include "video/web_error.h"

namespace {

constexpr unsigned notFound = 404;

VideoRequest::Form takeForm(std::string& name) {
    if (name.ends_with(".jpg")) {
        name.resize(name.size() - 4);
        return VideoRequest::Form::Jpeg;
    }
    if (name.ends_with(".mp4")) {
        name.resize(name.size() - 4);
        return VideoRequest::Form::Mp4;
    }
    return VideoRequest::Form::Mjpeg;
}

VideoRequest parsePath(const std::string& path) {
    constexpr std::string_view folder = "/video/";
    VideoRequest request;
    std::string name = path.starts_with(folder) ? path.substr(folder.size()) : "";
    request.form = takeForm(name);
    const auto camera = parseSmallNumber(name);
    if (!camera) {
        throw WebError(notFound, "there is nothing here");
    }
    request.wish.camera = *camera;
    return request;
}

}  // namespace

VideoRequest VideoRequest::parse(const std::string& path,
                                 const std::map<std::string, std::string>& query) {
    VideoRequest request = parsePath(path);
    if (const auto resolution = query.find("resolution"); resolution != query.end()) {
        request.wish.size = StreamWish::Size::parse(resolution->second);
        if (!request.wish.size) {
            throw WebError(notFound, "resolution must be WIDTHxHEIGHT");
        }
    }
    if (const auto rotation = query.find("rotation"); rotation != query.end()) {
        request.wish.rotation = parseSmallNumber(rotation->second);
        if (!request.wish.rotation) {
            throw WebError(notFound, "rotation must be 0, 90, 180 or 270");
        }
    }
    return request;
}
