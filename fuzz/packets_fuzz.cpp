// What comes down a URL reader's pipe. However it is cut, the same records are found.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "engine/packet_stream.h"

namespace {

std::vector<std::string> recordsOf(std::string_view bytes, std::size_t step) {
    PacketStream::Parser parser;
    std::vector<std::string> records;
    for (std::size_t i = 0; i < bytes.size(); i += step) {
        parser.add(bytes.substr(i, step));
        for (PacketStream::Record record; parser.next(record);) {
            records.push_back(PacketStream::format(record.head, record.data));
        }
    }
    return records;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (recordsOf(bytes, size + 1) != recordsOf(bytes, 7)) {
        abort();
    }
    return 0;
}
