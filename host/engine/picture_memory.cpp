#include "engine/picture_memory.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <cerrno>
#include <system_error>

namespace {

[[noreturn]] void fail() {
    throw std::system_error(errno, std::generic_category(), "memory for pictures");
}

void seal(int file, int seals) {
    if (fcntl(file, F_ADD_SEALS, seals) != 0) {
        fail();
    }
}

void* map(int file, std::size_t bytes) {
    if (file < 0 || ftruncate(file, static_cast<off_t>(bytes)) != 0) {
        fail();
    }
    void* const mapping = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (mapping == MAP_FAILED) {
        fail();
    }
    return mapping;
}

}  // namespace

PictureMemory::PictureMemory(std::size_t bytes)
    : file(memfd_create("pictures", MFD_CLOEXEC | MFD_ALLOW_SEALING)),
      length(bytes),
      start(static_cast<std::uint8_t*>(map(file.get(), bytes))) {
    try {
        // Sealed after it was mapped: this mapping alone stays writable.
        seal(file.get(), F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_FUTURE_WRITE | F_SEAL_SEAL);
    } catch (...) {
        munmap(start, length);
        throw;
    }
}

PictureMemory::~PictureMemory() {
    munmap(start, length);
}
