#include "video/camera_memory.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <cerrno>
#include <system_error>

namespace {

constexpr int kPage = 4096;  // at least a page of the machine's: offsets stay right for any client

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

int roundUp(int bytes) {
    return (bytes + kPage - 1) / kPage * kPage;
}

}  // namespace

CameraMemory::CameraMemory(int bytes)
    : size(bytes), file(memfd_create("camera", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
    const int seals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL;
    if (!file || ftruncate(file.get(), size) != 0 || fcntl(file.get(), F_ADD_SEALS, seals) != 0) {
        fail("camera memory");
    }
}

std::optional<int> CameraMemory::allocate(int bytes) {
    if (bytes <= 0 || bytes > size) {
        return std::nullopt;
    }
    const int length = roundUp(bytes);
    int begin = 0;
    for (const auto& [offset, taken] : used) {
        if (offset - begin >= length) {
            break;
        }
        begin = offset + taken;
    }
    if (size - begin < length) {
        return std::nullopt;
    }
    used[begin] = length;
    return begin;
}

void CameraMemory::free(int offset) {
    if (const auto buffer = used.extract(offset); !buffer.empty()) {
        // Without memory to do so the pages stay, and the next one finds old content.
        [[maybe_unused]] const int failed = fallocate(
            file.get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, offset, buffer.mapped());
    }
}

void CameraMemory::read(int offset, std::uint8_t* to, std::size_t bytes) const {
    std::size_t done = 0;
    while (done < bytes) {
        const ssize_t count =
            pread(file.get(), to + done, bytes - done, offset + static_cast<off_t>(done));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            fail("camera memory");
        }
        done += static_cast<std::size_t>(count);
    }
}
