#include "video/png_check.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "png_file.h"

namespace {

using PngFile::chunk;
using PngFile::header;
using PngFile::kSignature;

std::string refusalOf(const std::string& file) {
    try {
        PngCheck::check(file);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "taken";
}

TEST(PngCheck, TellsTheSizeOfAnImage) {
    const PngSize size = PngCheck::check(PngFile::make(40, 30));
    EXPECT_EQ(size.width, 40);
    EXPECT_EQ(size.height, 30);
}

TEST(PngCheck, RefusesWhatIsNoPng) {
    EXPECT_EQ(refusalOf(""), "no PNG file");
    EXPECT_EQ(refusalOf("GIF89a"), "no PNG file");
    EXPECT_EQ(refusalOf(std::string(100, '\0')), "no PNG file");
}

TEST(PngCheck, RefusesAFileThatEndsTooEarly) {
    const std::string file = PngFile::make(40, 30);
    for (std::size_t size = 8; size < file.size(); ++size) {
        EXPECT_EQ(refusalOf(file.substr(0, size)), "the PNG file is cut off") << size;
    }
}

TEST(PngCheck, RefusesAFileWithAnyByteChanged) {
    const std::string file = PngFile::make(40, 30);
    for (std::size_t place = 0; place < file.size(); ++place) {
        std::string changed = file;
        changed[place] = static_cast<char>(changed[place] ^ 0x11);
        EXPECT_NE(refusalOf(changed), "taken") << place;
    }
}

TEST(PngCheck, RefusesAChunkLongerThanAnyFile) {
    EXPECT_EQ(refusalOf(kSignature + "\xff\xff\xff\xffIHDR" + std::string(100, '\0')),
              "the PNG file is cut off");
}

TEST(PngCheck, NeedsHeaderAndPixels) {
    const std::string end = chunk("IEND", "");
    EXPECT_EQ(refusalOf(kSignature + end), "the PNG file is damaged");
    EXPECT_EQ(refusalOf(kSignature + chunk("IHDR", "short") + end), "the PNG file is damaged");
    EXPECT_EQ(refusalOf(kSignature + header(1, 1) + end), "the PNG file has no pixels");
}

TEST(PngCheck, TakesImagesOfUpTo4096Pixels) {
    const auto fileOf = [](unsigned width, unsigned height) {
        return kSignature + header(width, height) + chunk("IDAT", "") + chunk("IEND", "");
    };
    EXPECT_EQ(refusalOf(fileOf(4096, 4096)), "taken");
    const std::string rule = " pixels; it may have 1x1 to 4096x4096";
    EXPECT_EQ(refusalOf(fileOf(4097, 1)), "the image has 4097x1" + rule);
    EXPECT_EQ(refusalOf(fileOf(1, 4097)), "the image has 1x4097" + rule);
    EXPECT_EQ(refusalOf(fileOf(0, 1)), "the image has 0x1" + rule);
    EXPECT_EQ(refusalOf(fileOf(1, 0xffffffff)), "the image has 1x4294967295" + rule);
}

TEST(PngCheck, TakesFilesOfUpTo8MiB) {
    const std::string bare = PngFile::make(1, 1);
    const std::size_t room = PngCheck::kMostBytes - bare.size() - 12;
    const auto fileWith = [&](std::size_t extra) {
        return kSignature + header(1, 1) + chunk("teXt", std::string(extra, 'a')) +
               bare.substr(kSignature.size() + header(1, 1).size());
    };
    EXPECT_EQ(refusalOf(fileWith(room)), "taken");
    EXPECT_EQ(refusalOf(fileWith(room + 1)), "the file is too large: at most 8388608 bytes");
}

}  // namespace
