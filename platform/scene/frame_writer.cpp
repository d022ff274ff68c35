#include "scene/frame_writer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

#include "scene/frame.h"

namespace {

void putWord(char* position, std::uint32_t word) {
    std::memcpy(position, &word, sizeof word);
}

}  // namespace

ScenePayload scene_frame::wrap(const std::uint8_t* body, std::size_t size) {
    const std::size_t padded = (size + bodyUnit - 1) / bodyUnit * bodyUnit;
    const std::size_t length = headSize + padded + tailSize;
    if (length >= maxLength) {
        throw std::length_error("a scene is too long for a payload");
    }
    auto* block = static_cast<char*>(std::calloc(1, length));
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    putWord(block, magic);
    putWord(block + lengthOffset, static_cast<std::uint32_t>(length));
    std::copy_n(body, size, block + headSize);
    putWord(block + length - sizeof(std::uint32_t), ~magic);
    return {block, length};
}
