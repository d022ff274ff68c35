#include "engine/picture_link.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

using PictureLink::Hello;
using PictureLink::Picture;
using PictureLink::Release;

namespace {

Hello exampleHello() {
    Hello hello;
    hello.camera = 1;
    hello.width = 4;
    hello.height = 2;
    hello.slots = 4;
    hello.slotSize = 12;
    return hello;
}

template <typename Packet>
std::string bytesOf(const Packet& packet) {
    return {reinterpret_cast<const char*>(&packet), sizeof packet};
}

bool isRead(const Hello& hello, int cameras = 2) {
    return PictureLink::readHello(&hello, sizeof hello, cameras).has_value();
}

bool isRead(const Picture& picture) {
    return PictureLink::readPicture(&picture, sizeof picture, exampleHello()).has_value();
}

}  // namespace

TEST(PictureLink, IsLaidOutAsTheWorkedExample) {
    using namespace std::string_literals;
    EXPECT_EQ(
        bytesOf(exampleHello()),
        "\x54\x50\x4c\x31\x01\0\0\0\x01\0\0\0\x04\0\0\0\x02\0\0\0\x04\0\0\0\x0c\0\0\0\0\0\0\0"s);
    EXPECT_EQ(bytesOf(Picture{1, 4, 2, 0, 1'000'000'000}),
              "\x01\0\0\0\x04\0\0\0\x02\0\0\0\0\0\0\0\x00\xca\x9a\x3b\0\0\0\0"s);
    EXPECT_EQ(bytesOf(Release{1}), "\x01\0\0\0"s);
}

TEST(PictureLink, CountsThePlanesOfOddPicturesRoundedUp) {
    EXPECT_EQ(PictureLink::pictureBytes(4, 2), 12u);
    EXPECT_EQ(PictureLink::pictureBytes(1, 1), 3u);
    EXPECT_EQ(PictureLink::pictureBytes(3, 5), 15u + 2 * 2 * 3);
    EXPECT_EQ(PictureLink::pictureBytes(4096, 4096), 25'165'824u);
}

TEST(PictureLink, ReadsAHello) {
    const std::string packet = bytesOf(exampleHello());
    const auto hello = PictureLink::readHello(packet.data(), packet.size(), 1);
    ASSERT_TRUE(hello);
    EXPECT_EQ(hello->camera, 1);
    EXPECT_EQ(hello->width, 4);
    EXPECT_EQ(hello->height, 2);
    EXPECT_EQ(hello->memorySize(), 48u);
}

TEST(PictureLink, RefusesAHelloWithAWordThatIsWrong) {
    const auto with = [](auto member, auto value) {
        Hello hello = exampleHello();
        hello.*member = value;
        return hello;
    };
    EXPECT_TRUE(isRead(with(&Hello::camera, 2)));
    EXPECT_TRUE(isRead(with(&Hello::slots, 16u)));
    EXPECT_TRUE(isRead(with(&Hello::slotSize, 25'165'824u)));
    for (const Hello& hello : {with(&Hello::magic, 0x314c5055u),
                               with(&Hello::version, 0u),
                               with(&Hello::version, 2u),
                               with(&Hello::camera, 0),
                               with(&Hello::camera, -1),
                               with(&Hello::camera, 3),
                               with(&Hello::width, 0),
                               with(&Hello::width, -4),
                               with(&Hello::width, 4097),
                               with(&Hello::width, INT32_MIN),
                               with(&Hello::height, 0),
                               with(&Hello::height, -1),
                               with(&Hello::height, INT32_MAX),
                               with(&Hello::slots, 0u),
                               with(&Hello::slots, 17u),
                               with(&Hello::slotSize, 11u),
                               with(&Hello::slotSize, 0u),
                               with(&Hello::slotSize, 25'165'825u),
                               with(&Hello::slotSize, UINT32_MAX),
                               with(&Hello::reserved, 1u)}) {
        EXPECT_FALSE(isRead(hello));
    }
}

TEST(PictureLink, ReadsAPictureThatFitsItsSlot) {
    EXPECT_TRUE(isRead(Picture{0, 4, 2, 0, 0}));
    EXPECT_TRUE(isRead(Picture{3, 2, 4, 0, INT64_MAX / 2}));
    EXPECT_TRUE(isRead(Picture{3, 1, 1, 0, 0}));
}

TEST(PictureLink, RefusesAPictureWithAWordThatIsWrong) {
    for (const Picture& picture :
         {Picture{4, 4, 2, 0, 0}, Picture{UINT32_MAX, 4, 2, 0, 0}, Picture{0, 5, 2, 0, 0},
          Picture{0, 4, 3, 0, 0}, Picture{0, 0, 2, 0, 0}, Picture{0, 4, 0, 0, 0},
          Picture{0, -4, -2, 0, 0}, Picture{0, INT32_MAX, INT32_MAX, 0, 0}, Picture{0, 4, 2, 1, 0},
          Picture{0, 4, 2, 0, -1}, Picture{0, 4, 2, 0, INT64_MAX}}) {
        EXPECT_FALSE(isRead(picture));
    }
}

TEST(PictureLink, RefusesPacketsOfAnotherSize) {
    const std::string bytes(64, '\0');
    const Hello hello = exampleHello();
    std::string told = bytesOf(hello) + bytes;
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
        EXPECT_EQ(PictureLink::readHello(told.data(), size, 1).has_value(), size == 32) << size;
        EXPECT_EQ(PictureLink::readRelease(bytes.data(), size, hello).has_value(), size == 4);
    }
    told = bytesOf(Picture{0, 4, 2, 0, 0}) + bytes;
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
        EXPECT_EQ(PictureLink::readPicture(told.data(), size, hello).has_value(), size == 24);
    }
}

TEST(PictureLink, RefusesTheReleaseOfASlotThatIsNone) {
    for (const std::uint32_t slot : {0u, 3u, 4u, UINT32_MAX}) {
        const Release release = {slot};
        EXPECT_EQ(PictureLink::readRelease(&release, sizeof release, exampleHello()).has_value(),
                  slot < 4);
    }
}
