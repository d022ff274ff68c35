#include "engine/source_url.h"

#include <gtest/gtest.h>

#include "engine/source_error.h"

namespace {

std::string refusal(const std::string& text) {
    try {
        SourceUrl::parse(text);
    } catch (const SourceError& error) {
        return std::string(error.what()).substr(text.size());
    }
    return "accepted";
}

}  // namespace

TEST(SourceUrl, AcceptsWhatCanBeRead) {
    for (const char* url :
         {"rtsp://camera/stream", "rtsp://user:p@ss@10.0.0.1:554/a?b=c", "RTSP://camera",
          "rtsp://[::1]:8554/x", "rtsp://[::1]", "http://host:8080/video.mp4", "https://host/",
          "udp://:1234", "udp://@239.0.0.1:1234", "srt://:9000?mode=listener", "rtmp://host/app"}) {
        EXPECT_EQ(refusal(url), "accepted") << url;
    }
}

TEST(SourceUrl, KnowsWhatComesAtItsOwnPace) {
    EXPECT_TRUE(SourceUrl::parse("RTSP://camera/").isLive());
    EXPECT_EQ(SourceUrl::parse("RTSP://Camera/A").text, "rtsp://Camera/A");
    EXPECT_FALSE(SourceUrl::parse("http://host/video.mp4").isLive());
}

TEST(SourceUrl, RefusesWhatIsMalformed) {
    EXPECT_EQ(refusal(""), ": is no URL");
    EXPECT_EQ(refusal("video.avi"), ": is no URL");
    EXPECT_EQ(refusal("rtsp:/camera"), ": is no URL");
    const std::string host = ": is no URL: its host or port is bad";
    for (const char* url : {"rtsp://", "rtsp:///path", "rtsp://:554/", "rtsp://camera:/",
                            "rtsp://camera:0/", "rtsp://camera:65536/", "rtsp://camera:5x/",
                            "rtsp://user@/", "rtsp://[]/", "rtsp://[::1/", "rtsp://[::1]x/"}) {
        EXPECT_EQ(refusal(url), host) << url;
    }
    EXPECT_EQ(refusal("rtsp://cam era/"),
              ": is no URL: there is a blank or control character in it");
    EXPECT_EQ(refusal("rtsp://camera/\n"),
              ": is no URL: there is a blank or control character in it");
}

TEST(SourceUrl, RefusesWhatIsNotFetchedFromTheNetwork) {
    for (const char* url : {"file:///etc/passwd", "concat://a", "gopher://host/", "://host"}) {
        EXPECT_EQ(refusal(url), ": is of a kind that cannot be read") << url;
    }
}
