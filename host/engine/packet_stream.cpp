#include "engine/packet_stream.h"

#include <zlib.h>

#include <cstring>

namespace PacketStream {

namespace {

static_assert(sizeof(Head) == 64 && offsetof(Head, checksum) == 60, "no gaps");

std::uint32_t checksumOf(const Head& head) {
    return static_cast<std::uint32_t>(
        crc32(0, reinterpret_cast<const Bytef*>(&head), offsetof(Head, checksum)));
}

bool isGood(const Head& head) {
    return head.magic == magic && head.checksum == checksumOf(head) && head.size <= mostBytes &&
           (head.kind == Kind::Stream || head.kind == Kind::Packet);
}

}  // namespace

std::string format(Head head, std::string_view data) {
    head.size = static_cast<std::uint32_t>(data.size());
    head.checksum = checksumOf(head);
    std::string bytes(reinterpret_cast<const char*>(&head), sizeof head);
    return bytes.append(data);
}

void Parser::add(std::string_view bytes) {
    buffer.erase(0, position);
    position = 0;
    buffer.append(bytes);
}

// Skips whatever is no head.
bool Parser::findHead(Head& head) {
    const std::string_view start(reinterpret_cast<const char*>(&magic), sizeof magic);
    while (buffer.size() - position >= sizeof head) {
        std::memcpy(&head, buffer.data() + position, sizeof head);
        if (isGood(head)) {
            return true;
        }
        const std::size_t found = buffer.find(start, position + 1);
        position = found != std::string::npos ? found : buffer.size() - (start.size() - 1);
    }
    return false;
}

bool Parser::next(Record& record) {
    if (!findHead(record.head) || buffer.size() - position - sizeof(Head) < record.head.size) {
        return false;
    }
    record.data.assign(buffer, position + sizeof(Head), record.head.size);
    position += sizeof(Head) + record.head.size;
    return true;
}

}  // namespace PacketStream
