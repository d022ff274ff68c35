#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// What plinth-reader sends down its pipe: undecoded packets of one video stream, whatever the
/// codec, in a form that can be joined anywhere. Both ends run on one machine, numbers are its own.
///
///     STREAM = RECORD...
///     RECORD = head, then `size` bytes: codec data of a stream record, the packet of a packet
///     record
///
/// The stream is described before each key packet. A reader of the stream finds its place by magic
/// and checksum of the head.
namespace PacketStream {

enum class Kind : std::uint32_t { Stream = 1, Packet = 2 };

inline constexpr std::uint32_t magic = 0x314b5054;
inline constexpr std::uint32_t mostBytes = 32u << 20;
inline constexpr std::int64_t noTime = INT64_MIN;

struct Head {
    std::uint32_t magic = PacketStream::magic;
    Kind kind = Kind::Stream;
    std::uint32_t size = 0;
    std::uint32_t session = 0;  ///< another one for each connection to the source

    std::int64_t time = noTime;  ///< of a packet: nanoseconds on the stream's own clock
    std::uint32_t isKey = 0;     ///< of a packet

    std::uint32_t codec = 0;  ///< of a stream: libav's id
    std::uint32_t tag = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t pixelWidth = 0;  ///< shape of a pixel, 0 if not known
    std::int32_t pixelHeight = 0;
    std::int32_t rate = 0;  ///< pictures per `rateSeconds`, 0 if not known
    std::int32_t rateSeconds = 0;

    std::uint32_t checksum = 0;
};

struct Record {
    Head head;
    std::string data;
};

/// The record's bytes. Size and checksum of its head are set here.
std::string format(Head head, std::string_view data);

/// Finds the records in a stream of bytes.
class Parser {
public:
    void add(std::string_view bytes);
    /// The next complete record; false when more bytes are needed.
    bool next(Record& record);

private:
    bool findHead(Head& head);

    std::string buffer;
    std::size_t position = 0;
};

}  // namespace PacketStream
