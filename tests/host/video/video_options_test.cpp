#include "video/video_options.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using Arguments = std::vector<std::string>;

const Arguments kGood = {"--camera", "1280x720", "--pictures",      "/p", "--web", "/w",
                         "--state",  "/s",       "--configuration", "/c"};

std::string refusalOf(const Arguments& arguments) {
    try {
        VideoOptions::parse(arguments);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "taken";
}

std::string refusalOfCamera(const std::string& camera) {
    return refusalOf({"--camera", camera});
}

std::string noSize(const std::string& camera) {
    return "--camera: \"" + camera + "\" is no WIDTHxHEIGHT from 16 to 8192 pixels";
}

TEST(VideoOptions, AreRead) {
    const VideoOptions options = VideoOptions::parse(kGood);
    ASSERT_EQ(options.cameras.size(), 1U);
    EXPECT_EQ(options.cameras[0].width, 1280);
    EXPECT_EQ(options.cameras[0].height, 720);
    EXPECT_EQ(options.pictures, "/p");
    EXPECT_EQ(options.web, "/w");
    EXPECT_EQ(options.configuration, "/c");
    EXPECT_EQ(options.state, "/s");
}

TEST(VideoOptions, CountCamerasInTheirOrder) {
    Arguments arguments = kGood;
    arguments.insert(arguments.end(), {"--camera", "16x8192"});
    const VideoOptions options = VideoOptions::parse(arguments);
    ASSERT_EQ(options.cameras.size(), 2U);
    EXPECT_EQ(options.cameras[1].width, 16);
    EXPECT_EQ(options.cameras[1].height, 8192);
}

TEST(VideoOptions, RefuseACameraThatIsNoSize) {
    for (const char* camera : {"", "1280", "1280x", "x720", "1280x720x1", "1280x720 ", "-1280x720",
                               "15x720", "1280x8193", "99999999999x720", "1280X720"}) {
        EXPECT_EQ(refusalOfCamera(camera), noSize(camera));
    }
}

TEST(VideoOptions, RefuseWhatIsNoOptionAndAMissingValue) {
    EXPECT_EQ(refusalOf({"--nonsense"}), "--nonsense: is no option");
    EXPECT_EQ(refusalOf({"camera", "1280x720"}), "camera: is no option");
    EXPECT_EQ(refusalOf({"--camera"}), "--camera: a value is missing");
}

TEST(VideoOptions, SayWhichOptionIsMissing) {
    EXPECT_EQ(refusalOf({}), "no camera: give --camera");
    for (std::size_t place = 2; place < kGood.size(); place += 2) {
        Arguments arguments = kGood;
        const std::string name = arguments[place];
        arguments[place + 1].clear();
        EXPECT_EQ(refusalOf(arguments), "give " + name);
    }
}

}  // namespace
