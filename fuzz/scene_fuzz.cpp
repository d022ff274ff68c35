// Scene payloads, from the bytes to the tracked objects. Each input is taken twice: as a whole
// payload in a block of just its size, and as the body inside a proper frame, so that the fuzzer
// gets behind the frame without having to keep it in order.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "scene/frame_writer.h"
#include "scene/nolt_scene.h"
#include "tracking/nolt_scene_parser.h"

extern "C" {
// A hostile payload may say much that is worth a line; here nobody reads it.
void syslog(int, const char*, ...) {}
void __syslog_chk(int, int, const char*, ...) {}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
}

namespace {

constexpr int everything = 15;
constexpr int usual = 14;

void decode(const char* payload) {
    const NoltScene complete(payload, everything);
    const NoltScene scene(payload, usual);
    NoltSceneParser parser(90, 1.5F);
    { const ParsedScene first = parser.parse(scene); }
    const ParsedScene second = parser.parse(scene);
    if (second.activeObjects.size() > scene.activeObjects.size()) {
        std::abort();
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::unique_ptr<char, void (*)(void*)> block(static_cast<char*>(std::calloc(1, size)),
                                                       std::free);
    if (size > 0) {
        std::memcpy(block.get(), data, size);
    }
    decode(block.get());
    decode(scene_frame::wrap(data, size).data());
    return 0;
}
