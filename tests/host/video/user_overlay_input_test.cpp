#include "video/user_overlay_input.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <functional>

#include "engine/file_descriptor.h"
#include "png_file.h"
#include "video/bus_error.h"
#include "video/png_check.h"

namespace {

using UserOverlayInput::Options;

FileDescriptor fileOf(const std::string& content) {
    FileDescriptor file(memfd_create("image", MFD_CLOEXEC));
    EXPECT_EQ(write(file.get(), content.data(), content.size()),
              static_cast<ssize_t>(content.size()));
    return file;
}

UserOverlay text(const std::string& words, const std::string& position = "top",
                 const Options& options = {}) {
    return UserOverlayInput::makeText(words, position, options, 2);
}

UserOverlay image(const std::string& content, const Options& options = {},
                  const std::string& position = "bottomleft") {
    return UserOverlayInput::makeImage(fileOf(content).get(), position, options, 2);
}

std::string refusalOf(const std::function<void()>& what) {
    try {
        what();
        return "taken";
    } catch (const BusError& error) {
        EXPECT_STREQ(error.name(), "com.orva.Host.Error.BadInput");
        return error.what();
    }
}

std::string refusalOfOption(const std::string& name, const std::string& value) {
    return refusalOf([&] { text("Gate 3", "top", {{name, value}}); });
}

TEST(UserOverlayInput, MakesATextWithDefaults) {
    const UserOverlay overlay = text("Gate 3");
    EXPECT_EQ(overlay.kind, UserOverlay::Kind::Text);
    EXPECT_EQ(overlay.text, "Gate 3");
    EXPECT_EQ(overlay.position, "top");
    EXPECT_EQ(overlay.camera, 1);
    EXPECT_EQ(overlay.width, 0);
    EXPECT_EQ(overlay.height, 40);
    EXPECT_TRUE(overlay.isScalable);
}

TEST(UserOverlayInput, ReadsTheOptionsOfAText) {
    const UserOverlay overlay = text("Tor 3 \xc3\xbc", "0,-0.5",
                                     {{"Camera", "2"}, {"Height", "55"}, {"Scalable", "false"}});
    EXPECT_EQ(overlay.camera, 2);
    EXPECT_EQ(overlay.height, 55);
    EXPECT_FALSE(overlay.isScalable);
}

TEST(UserOverlayInput, RefusesTextsThatCannotBeShown) {
    EXPECT_EQ(refusalOf([] { text(""); }), "the text is empty");
    EXPECT_EQ(refusalOf([] { text(std::string(513, 'a')); }),
              "the text is too long: at most 512 bytes");
    EXPECT_EQ(refusalOf([] { text(std::string(512, 'a')); }), "taken");
    for (const char* words : {"two\nlines", "\t", "\x7f", "\xff"}) {
        EXPECT_EQ(refusalOf([&] { text(words); }), "the text is not one line of UTF-8");
    }
}

TEST(UserOverlayInput, RefusesPositionsThatCannotBe) {
    for (const char* position : {"", "left", "TOP", "0", "2,0"}) {
        EXPECT_EQ(refusalOf([&] { text("Gate 3", position); }),
                  std::string("the position \"") + position +
                      "\" is none of top, topleft, topright, bottom, bottomleft, bottomright and "
                      "X,Y from -1 to 1");
    }
}

TEST(UserOverlayInput, RefusesOptionsThatMakeNoSense) {
    EXPECT_EQ(refusalOfOption("Camera", "3"), "Camera takes a number from 1 to 2, not \"3\"");
    EXPECT_EQ(refusalOfOption("Camera", "one"), "Camera takes a number from 1 to 2, not \"one\"");
    EXPECT_EQ(refusalOfOption("Height", "0"), "Height takes a number from 1 to 8192, not \"0\"");
    EXPECT_EQ(refusalOfOption("Height", "40 "),
              "Height takes a number from 1 to 8192, not \"40 \"");
    EXPECT_EQ(refusalOfOption("Scalable", "yes"), "Scalable takes true or false, not \"yes\"");
    EXPECT_EQ(refusalOfOption("Width", "40"), "there is no option \"Width\" here");
    EXPECT_EQ(refusalOfOption("height", "40"), "there is no option \"height\" here");
}

TEST(UserOverlayInput, MakesAnImageOfItsOwnSize) {
    const std::string content = PngFile::make(40, 30);
    const UserOverlay overlay = image(content);
    EXPECT_EQ(overlay.kind, UserOverlay::Kind::Image);
    EXPECT_EQ(*overlay.imageFile, content);
    EXPECT_EQ(overlay.position, "bottomleft");
    EXPECT_EQ(overlay.width, 40);
    EXPECT_EQ(overlay.height, 30);
    EXPECT_TRUE(overlay.isScalable);
}

TEST(UserOverlayInput, KeepsTheRatioOfAnImageWithOneSideGiven) {
    const std::string content = PngFile::make(40, 30);
    EXPECT_EQ(image(content, {{"Height", "60"}}).width, 80);
    EXPECT_EQ(image(content, {{"Width", "20"}}).height, 15);
    EXPECT_EQ(image(content, {{"Width", "1"}}).height, 1);
    const UserOverlay bent = image(content, {{"Width", "20"}, {"Height", "60"}});
    EXPECT_EQ(bent.width, 20);
    EXPECT_EQ(bent.height, 60);
}

TEST(UserOverlayInput, ReadsAFileFromItsBeginningWhereverItStands) {
    const FileDescriptor file = fileOf(PngFile::make(40, 30));
    EXPECT_NE(lseek(file.get(), 0, SEEK_CUR), 0);
    EXPECT_EQ(UserOverlayInput::makeImage(file.get(), "top", {}, 1).width, 40);
}

TEST(UserOverlayInput, RefusesWhatIsNoImage) {
    EXPECT_EQ(refusalOf([] { image(""); }), "no PNG file");
    EXPECT_EQ(refusalOf([] { image("GIF89a"); }), "no PNG file");
    EXPECT_EQ(refusalOf([] { image(std::string(PngCheck::kMostBytes + 1, 'a')); }),
              "the file is too large: at most 8388608 bytes");
    EXPECT_EQ(refusalOf([] { image(PngFile::make(40, 30), {}, "middle"); }).substr(0, 12),
              "the position");
}

TEST(UserOverlayInput, NeverWaitsForAFile) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const FileDescriptor reading(ends[0]), writing(ends[1]);
    EXPECT_EQ(refusalOf([&] { UserOverlayInput::makeImage(reading.get(), "top", {}, 1); }),
              "the descriptor is of no regular file");
    const FileDescriptor closed(open("/dev/null", O_WRONLY | O_CLOEXEC));
    EXPECT_EQ(refusalOf([&] { UserOverlayInput::makeImage(closed.get(), "top", {}, 1); }),
              "the descriptor is of no regular file");
}

}  // namespace
