// The packets of the pictures' road: the first byte tells which kind is read. What is taken for a
// picture lies within the memory that its hello tells of.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "engine/picture_link.h"

namespace {

constexpr int cameras = 2;

void require(bool condition) {
    if (!condition) {
        abort();
    }
}

void checkHello(const PictureLink::Hello& hello) {
    require(hello.camera >= 1 && hello.camera <= cameras);
    require(hello.memorySize() > 0);
    require(hello.memorySize() <= PictureLink::mostSlots * std::size_t{25'165'824});
    require(PictureLink::pictureBytes(hello.width, hello.height) <= hello.slotSize);
}

// A hello and what follows it.
void checkPacket(const std::uint8_t* data, std::size_t size, bool isRelease) {
    const std::size_t helloSize = sizeof(PictureLink::Hello);
    const auto hello = PictureLink::readHello(data, size < helloSize ? size : helloSize, cameras);
    if (!hello) {
        return;
    }
    checkHello(*hello);
    data += helloSize;
    size -= helloSize;
    if (isRelease) {
        const auto release = PictureLink::readRelease(data, size, *hello);
        require(!release || release->slot < hello->slots);
        return;
    }
    if (const auto picture = PictureLink::readPicture(data, size, *hello)) {
        const std::size_t end = std::size_t{picture->slot} * hello->slotSize +
                                PictureLink::pictureBytes(picture->width, picture->height);
        require(end <= hello->memorySize());
        require(picture->time >= 0);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 0) {
        checkPacket(data + 1, size - 1, data[0] % 2 == 1);
    }
    return 0;
}
