#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

/// How the engine hands pictures to the video service: one connection for each camera, to a Unix
/// socket of sequenced packets on which the service listens. The pictures themselves lie in memory
/// that both share. Both ends run on one machine, numbers are its own.
///
///     ENGINE  = HELLO (PICTURE)...
///     SERVICE = (RELEASE)...
///     HELLO   = magic, version, camera, width, height, slots, slot size, 0; with it one descriptor
///     PICTURE = slot, width, height, 0, time
///     RELEASE = slot
///
/// The descriptor is a memory file (memfd_create(2)) that holds `slots` slots of `slot size` bytes
/// one behind the other, and is sealed against shrinking. A slot holds a picture: the planes Y, U
/// and V without gaps, U and V at half the size, rounded up (yuv420p). Colours are BT.601 in
/// limited range, pixels are square. HELLO tells the usual size of the pictures; others may come
/// as long as they fit into a slot.
///
/// A slot is the engine's until its PICTURE is sent, then the service's until its RELEASE. Whoever
/// breaks these rules is left by the other; the engine connects again.
///
/// Worked example, camera 1 with pictures of 4x2, four slots of 12 bytes:
///
///     HELLO    54 50 4c 31  01 00 00 00  01 00 00 00  04 00 00 00  02 00 00 00  04 00 00 00
///              0c 00 00 00  00 00 00 00
///     memory   slot 1, from byte 12: 8 bytes Y, 2 bytes U, 2 bytes V
///     PICTURE  01 00 00 00  04 00 00 00  02 00 00 00  00 00 00 00  00 ca 9a 3b 00 00 00 00
///              (slot 1, at 1 s of the monotonic clock)
///     RELEASE  01 00 00 00
namespace PictureLink {

inline constexpr std::uint32_t magic = 0x314c5054;
inline constexpr std::uint32_t version = 1;
inline constexpr std::int32_t longestSide = 4096;  ///< pixels
inline constexpr std::uint32_t mostSlots = 16;

struct Hello {
    std::uint32_t magic = PictureLink::magic;
    std::uint32_t version = PictureLink::version;
    std::int32_t camera = 0;  ///< from 1
    std::int32_t width = 0;   ///< pixels
    std::int32_t height = 0;  ///< pixels
    std::uint32_t slots = 0;
    std::uint32_t slotSize = 0;  ///< bytes
    std::uint32_t reserved = 0;

    /// Bytes of all slots.
    std::size_t memorySize() const { return std::size_t{slots} * slotSize; }
};

struct Picture {
    std::uint32_t slot = 0;   ///< from 0
    std::int32_t width = 0;   ///< pixels
    std::int32_t height = 0;  ///< pixels
    std::uint32_t reserved = 0;
    std::int64_t time = 0;  ///< of its scene, nanoseconds on the monotonic clock
};

struct Release {
    std::uint32_t slot = 0;
};

/// The sides of a picture are within bounds.
bool isSize(std::int32_t width, std::int32_t height);
/// Bytes of a picture's three planes. The size must be one.
std::size_t pictureBytes(std::int32_t width, std::int32_t height);

/// What a packet says; nothing unless every word of it is right. A hello is for one of the cameras
/// 1..`cameras`; its memory is still to be looked at.
std::optional<Hello> readHello(const void* packet, std::size_t size, int cameras);
std::optional<Picture> readPicture(const void* packet, std::size_t size, const Hello& hello);
std::optional<Release> readRelease(const void* packet, std::size_t size, const Hello& hello);

}  // namespace PictureLink
