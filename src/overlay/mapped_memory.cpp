#include "overlay/mapped_memory.h"

#include <sys/mman.h>
#include <syslog.h>

#include <cerrno>
#include <cstddef>
#include <string>

#include "app/status.h"

MappedMemory::MappedMemory(int length, int descriptor, int offset)
    : size(length),
      pointer(mmap(nullptr, static_cast<std::size_t>(length), PROT_READ | PROT_WRITE, MAP_SHARED,
                   descriptor, offset)) {
    if (pointer == MAP_FAILED) {
        throw std::runtime_error("Failed to mmap buffer handle: " + std::to_string(errno));
    }
}

MappedMemory::~MappedMemory() {
    unmap(pointer, size);
}

void MappedMemory::unmap(void* pointer, int size) {
    if (pointer == nullptr) {
        syslog(LOG_ERR, "Cannot unmap memory, pointer is NULL\n");
        return;
    }
    if (munmap(pointer, static_cast<std::size_t>(size)) != 0) {
        syslog(LOG_WARNING, "Failed to unmap image buffer, errno: %d\n", errno);
    }
}
