#include "video/video_request.h"

#include <gmock/gmock.h>

#include "video/web_error.h"

using Query = std::map<std::string, std::string>;
using Form = VideoRequest::Form;

namespace {

std::string refusalOf(const std::string& path, const Query& query = {}) {
    try {
        VideoRequest::parse(path, query);
        return "none";
    } catch (const WebError& error) {
        return std::to_string(error.status) + " " + error.what();
    }
}

}  // namespace

TEST(VideoRequest, TellsTheFormByTheEndingOfThePath) {
    EXPECT_EQ(VideoRequest::parse("/video/1", {}).form, Form::Mjpeg);
    EXPECT_EQ(VideoRequest::parse("/video/1.jpg", {}).form, Form::Jpeg);
    EXPECT_EQ(VideoRequest::parse("/video/1.mp4", {}).form, Form::Mp4);
}

TEST(VideoRequest, LeavesTheStreamOpen) {
    EXPECT_EQ(VideoRequest::parse("/video/12.jpg", {}).wish, (StreamWish{12, {}, {}}));
}

TEST(VideoRequest, TakesSizeAndRotationFromTheQuery) {
    const Query query = {{"resolution", "640x360"}, {"rotation", "270"}, {"t", "1"}};
    EXPECT_EQ(VideoRequest::parse("/video/2", query).wish,
              (StreamWish{2, StreamWish::Size{640, 360}, 270}));
    EXPECT_EQ(VideoRequest::parse("/video/2", {{"rotation", "0"}}).wish, (StreamWish{2, {}, 0}));
}

TEST(VideoRequest, RefusesOtherPaths) {
    for (const std::string path :
         {"", "/", "/video", "/video/", "/video/.jpg", "/video/a", "/video/01", "/video/-1",
          "/video/+1", "/video/ 1", "/video/1/", "/video/1.png", "/video/1.jpg.jpg", "/video/1.JPG",
          "/video/1000000", "/video/99999999999999999999", "/Video/1", "1.jpg", "/other/1"}) {
        EXPECT_EQ(refusalOf(path), "404 there is nothing here") << path;
    }
}

TEST(VideoRequest, RefusesResolutionsThatAreNone) {
    for (const std::string size :
         {"", "640", "640x", "x360", "640x360x1", "640X360", "0x360", "640x0", "-640x360",
          " 640x360", "640x360 ", "6.4x3", "0640x360", "99999999999x1"}) {
        EXPECT_EQ(refusalOf("/video/1", {{"resolution", size}}),
                  "404 resolution must be WIDTHxHEIGHT")
            << size;
    }
}

TEST(VideoRequest, RefusesRotationsThatAreNone) {
    for (const std::string rotation : {"", "right", "-90", "090", "90.0", "1e2"}) {
        EXPECT_EQ(refusalOf("/video/1", {{"rotation", rotation}}),
                  "404 rotation must be 0, 90, 180 or 270")
            << rotation;
    }
}
