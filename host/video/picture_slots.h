#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/picture_link.h"

/// The memory in which an engine leaves its pictures, mapped to be read. Whatever the engine does
/// to it, reading is safe; what is read may change meanwhile.
class PictureSlots {
public:
    /// Maps what `hello` tells of `file`, which stays the caller's. Throws std::runtime_error with
    /// what is wrong with it.
    PictureSlots(int file, const PictureLink::Hello& hello);
    ~PictureSlots();
    PictureSlots(const PictureSlots&) = delete;
    PictureSlots& operator=(const PictureSlots&) = delete;

    /// The slot's first byte.
    const std::uint8_t* getSlot(std::uint32_t slot) const {
        return static_cast<const std::uint8_t*>(start) + slot * slotSize;
    }

private:
    const std::size_t slotSize;
    const std::size_t length;
    void* start;  // owned mapping
};
