#include "video/png_check.h"

#include <zlib.h>

#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace {

constexpr std::string_view kSignature("\x89PNG\r\n\x1a\n", 8);
constexpr std::size_t kChunkFrame = 12;  // length, type and checksum
constexpr std::size_t kHeaderLength = 13;

std::uint32_t readNumber(std::string_view bytes) {
    std::uint32_t number = 0;
    for (const char byte : bytes.substr(0, 4)) {
        number = number << 8 | static_cast<std::uint8_t>(byte);
    }
    return number;
}

struct Chunk {
    std::string_view type;
    std::string_view content;
};

[[noreturn]] void refuse(const std::string& reason) {
    throw std::invalid_argument(reason);
}

/// Takes the first chunk off what is left.
Chunk takeChunk(std::string_view& rest) {
    if (rest.size() < kChunkFrame) {
        refuse("the PNG file is cut off");
    }
    const std::size_t length = readNumber(rest);
    if (rest.size() - kChunkFrame < length) {
        refuse("the PNG file is cut off");
    }
    const std::string_view summed = rest.substr(4, 4 + length);
    const std::uint32_t sum = readNumber(rest.substr(8 + length));
    const uLong actual =
        crc32(0, reinterpret_cast<const Bytef*>(summed.data()), static_cast<uInt>(summed.size()));
    if (sum != actual) {
        refuse("the PNG file is damaged");
    }
    rest.remove_prefix(kChunkFrame + length);
    return {summed.substr(0, 4), summed.substr(4)};
}

PngSize readHeader(const Chunk& chunk) {
    if (chunk.type != "IHDR" || chunk.content.size() != kHeaderLength) {
        refuse("the PNG file is damaged");
    }
    const std::uint32_t width = readNumber(chunk.content);
    const std::uint32_t height = readNumber(chunk.content.substr(4));
    const auto isSide = [](std::uint32_t pixels) {
        return pixels >= 1 && pixels <= static_cast<std::uint32_t>(PngCheck::kMostSide);
    };
    if (!isSide(width) || !isSide(height)) {
        refuse("the image has " + std::to_string(width) + "x" + std::to_string(height) +
               " pixels; it may have 1x1 to " + std::to_string(PngCheck::kMostSide) + "x" +
               std::to_string(PngCheck::kMostSide));
    }
    return {static_cast<int>(width), static_cast<int>(height)};
}

}  // namespace

PngSize PngCheck::check(const std::string& file) {
    if (file.size() > kMostBytes) {
        refuse("the file is too large: at most " + std::to_string(kMostBytes) + " bytes");
    }
    std::string_view rest = file;
    if (!rest.starts_with(kSignature)) {
        refuse("no PNG file");
    }
    rest.remove_prefix(kSignature.size());
    const PngSize size = readHeader(takeChunk(rest));
    bool hasPixels = false;
    for (;;) {
        const Chunk chunk = takeChunk(rest);
        if (chunk.type == "IEND") {
            break;
        }
        hasPixels = hasPixels || chunk.type == "IDAT";
    }
    if (!hasPixels) {
        refuse("the PNG file has no pixels");
    }
    return size;
}
