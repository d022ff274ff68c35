// The request line of the scene socket.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "engine/handshake.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int cameras = 2;
    const Handshake handshake({reinterpret_cast<const char*>(data), size}, cameras);
    const std::string answer = handshake.answer();
    const bool sound = handshake.granted()
                           ? handshake.camera() >= 1 && handshake.camera() <= cameras &&
                                 handshake.properties() <= 15
                           : handshake.camera() == 0;
    if (!sound || answer.size() > 100 || answer.find('\0') != answer.size() - 1) {
        abort();
    }
    return 0;
}
