#include "video/picture_slots.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace {

void require(bool condition, const char* reason) {
    if (!condition) {
        throw std::runtime_error(reason);
    }
}

/// Reading a mapping can only fail where its file is shorter, or where pages must be asked for from
/// elsewhere: so nothing but ordinary memory is mapped, and only if it cannot shrink.
void verify(int file, std::size_t size) {
    const int seals = fcntl(file, F_GET_SEALS);
    require(seals >= 0, "what it handed over is no memory file");
    require((seals & F_SEAL_SHRINK) != 0, "its memory is not sealed against shrinking");
    struct statfs system = {};
    require(fstatfs(file, &system) == 0 && system.f_type == TMPFS_MAGIC,
            "its memory is of an unknown kind");
    struct stat status = {};
    require(fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
                static_cast<std::size_t>(status.st_size) >= size,
            "its memory is smaller than told");
}

void* map(int file, std::size_t size) {
    verify(file, size);
    void* const mapping = mmap(nullptr, size, PROT_READ, MAP_SHARED, file, 0);
    if (mapping == MAP_FAILED) {
        throw std::runtime_error(std::string("its memory cannot be mapped: ") +
                                 std::strerror(errno));
    }
    return mapping;
}

}  // namespace

PictureSlots::PictureSlots(int file, const PictureLink::Hello& hello)
    : slotSize(hello.slotSize), length(hello.memorySize()), start(map(file, length)) {}

PictureSlots::~PictureSlots() {
    munmap(start, length);
}
