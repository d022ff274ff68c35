#pragma once

#include <cstddef>
#include <cstdint>

/// The frame of a payload, numbers little-endian:
///
///     offset        size   field
///     0             4      magic, "TWs1"
///     4             4      length of the whole payload, frame included
///     8             8      0
///     16            n      body: FlatBuffers, scene.fbs, padded to a multiple of 8
///     length - 8    4      0
///     length - 4    4      the magic's bits inverted
///
/// A payload that lost its end on the way has zeros there and not the last word, so what was cut
/// is never taken for a smaller scene. The body starts where malloc(3) aligns for any type.
namespace scene_frame {

constexpr std::uint32_t magic = 0x31735754;
constexpr std::size_t headSize = 16;
constexpr std::size_t tailSize = 8;
constexpr std::size_t lengthOffset = 4;
/// The body's length is a multiple of it.
constexpr std::size_t bodyUnit = 8;
/// No scene is as long as this; a length is below it before anything is made of it.
constexpr std::size_t maxLength = 1U << 30;

}  // namespace scene_frame
