#include "engine/picture_link.h"

#include <cstring>

namespace PictureLink {

namespace {

static_assert(sizeof(Hello) == 32 && sizeof(Picture) == 24 && sizeof(Release) == 4, "no gaps");

/// Times are added to.
constexpr std::int64_t latestTime = INT64_MAX / 2;

template <typename Packet>
std::optional<Packet> take(const void* packet, std::size_t size) {
    Packet taken;
    if (size != sizeof taken) {
        return {};
    }
    std::memcpy(&taken, packet, sizeof taken);
    return taken;
}

bool fits(std::int32_t width, std::int32_t height, const Hello& hello) {
    return isSize(width, height) && pictureBytes(width, height) <= hello.slotSize;
}

}  // namespace

bool isSize(std::int32_t width, std::int32_t height) {
    return width >= 1 && width <= longestSide && height >= 1 && height <= longestSide;
}

std::size_t pictureBytes(std::int32_t width, std::int32_t height) {
    const auto columns = static_cast<std::size_t>(width);
    const auto rows = static_cast<std::size_t>(height);
    return columns * rows + 2 * ((columns + 1) / 2) * ((rows + 1) / 2);
}

std::optional<Hello> readHello(const void* packet, std::size_t size, int cameras) {
    const auto hello = take<Hello>(packet, size);
    const bool good = hello && hello->magic == magic && hello->version == version &&
                      hello->camera >= 1 && hello->camera <= cameras && hello->slots >= 1 &&
                      hello->slots <= mostSlots && hello->reserved == 0 &&
                      fits(hello->width, hello->height, *hello) &&
                      hello->slotSize <= pictureBytes(longestSide, longestSide);
    return good ? hello : std::nullopt;
}

std::optional<Picture> readPicture(const void* packet, std::size_t size, const Hello& hello) {
    const auto picture = take<Picture>(packet, size);
    const bool good = picture && picture->slot < hello.slots && picture->reserved == 0 &&
                      fits(picture->width, picture->height, hello) && picture->time >= 0 &&
                      picture->time <= latestTime;
    return good ? picture : std::nullopt;
}

std::optional<Release> readRelease(const void* packet, std::size_t size, const Hello& hello) {
    const auto release = take<Release>(packet, size);
    return release && release->slot < hello.slots ? release : std::nullopt;
}

}  // namespace PictureLink
