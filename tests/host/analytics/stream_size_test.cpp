#include "analytics/stream_size.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/temporary_folder.h"
#include "zqparameter/host/zqparameter_host.h"

namespace {

class StreamSizeTest : public testing::Test {
protected:
    ~StreamSizeTest() override { zq_parameter_host_set_path(nullptr); }

    RulesOptions::Size sizeWith(const std::string& parameters, int source = 0) {
        const std::string path = folder.path() + "/parameters.conf";
        std::ofstream(path) << parameters;
        zq_parameter_host_set_path(path.c_str());
        RulesOptions options;
        options.source = source;
        return StreamSize::of(options);
    }

    TemporaryFolder folder;
};

TEST_F(StreamSizeTest, IsWhatWasAskedFor) {
    RulesOptions options;
    options.size = RulesOptions::Size{640, 480};
    EXPECT_EQ(*options.size, StreamSize::of(options));
}

TEST_F(StreamSizeTest, IsTheSourcesOwnPictureOtherwise) {
    const char* parameters =
        "root.Image.I0.Appearance.Resolution=768x576\n"
        "root.Image.I1.Appearance.Resolution=1920x1080\n";
    EXPECT_EQ((RulesOptions::Size{768, 576}), sizeWith(parameters, 0));
    EXPECT_EQ((RulesOptions::Size{1920, 1080}), sizeWith(parameters, 1));
}

TEST_F(StreamSizeTest, IsUsualForASourceWithoutOne) {
    constexpr RulesOptions::Size kUsual = {1280, 720};
    EXPECT_EQ(kUsual, sizeWith(""));
    for (const char* text : {"", "768", "768x", "x576", "768x576x", "0x576", "768x-1", "wide"}) {
        EXPECT_EQ(kUsual, sizeWith(std::string("root.Image.I0.Appearance.Resolution=") + text))
            << text;
    }
}

}  // namespace
