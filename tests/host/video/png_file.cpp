#include "png_file.h"

#include <zlib.h>

#include <vector>

namespace {

std::string number(unsigned value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes += static_cast<char>(value >> shift & 0xff);
    }
    return bytes;
}

std::string pack(const std::string& content) {
    std::vector<Bytef> packed(compressBound(content.size()));
    uLongf size = packed.size();
    compress(packed.data(), &size, reinterpret_cast<const Bytef*>(content.data()), content.size());
    return {packed.begin(), packed.begin() + static_cast<std::ptrdiff_t>(size)};
}

}  // namespace

std::string PngFile::chunk(const std::string& type, const std::string& content) {
    const std::string summed = type + content;
    const uLong sum =
        crc32(0, reinterpret_cast<const Bytef*>(summed.data()), static_cast<uInt>(summed.size()));
    return number(static_cast<unsigned>(content.size())) + summed +
           number(static_cast<unsigned>(sum));
}

std::string PngFile::header(unsigned width, unsigned height) {
    return chunk("IHDR", number(width) + number(height) + std::string("\x08\0\0\0\0", 5));
}

std::string PngFile::make(unsigned width, unsigned height) {
    const std::string row = std::string(1, '\0') + std::string(width, '\x80');
    std::string rows;
    for (unsigned y = 0; y < height; ++y) {
        rows += row;
    }
    return kSignature + header(width, height) + chunk("IDAT", pack(rows)) + chunk("IEND", "");
}
