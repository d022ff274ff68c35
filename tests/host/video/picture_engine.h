#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/picture_link.h"
#include "support/picture_peer.h"

/// Pictures of 64x48, four slots.
inline PictureLink::Hello helloOf(int camera) {
    PictureLink::Hello hello;
    hello.camera = camera;
    hello.width = 64;
    hello.height = 48;
    hello.slots = 4;
    hello.slotSize = 4608;
    return hello;
}

/// An engine in the test's hands.
class PictureEngine {
public:
    PictureEngine(const std::string& path, int camera)
        : hello(helloOf(camera)),
          memory(makeMemory(hello.memorySize(), F_SEAL_SHRINK)),
          peer(PicturePeer::connectTo(path)) {
        peer.send(hello, memory.get());
    }

    void fill(std::uint32_t slot, std::uint8_t value) {
        const std::vector<std::uint8_t> bytes(hello.slotSize, value);
        ASSERT_EQ(pwrite(memory.get(), bytes.data(), bytes.size(), off_t{slot} * hello.slotSize),
                  static_cast<ssize_t>(bytes.size()));
    }

    bool show(std::uint32_t slot, std::int64_t time) {
        return peer.send(PictureLink::Picture{slot, 64, 48, 0, time});
    }

    bool waitForRelease(std::uint32_t slot) {
        PictureLink::Release release;
        return peer.take(release) && release.slot == slot;
    }

    const PictureLink::Hello hello;
    FileDescriptor memory;
    PicturePeer peer;
};
