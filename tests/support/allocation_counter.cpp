#include "support/allocation_counter.h"

#include <cstdlib>
#include <new>

std::atomic<std::size_t> allocationCount = 0;

// In a file of their own: where a compiler sees them beside their callers it takes malloc(3) and
// operator delete for mismatched.

void* operator new(std::size_t size) {
    ++allocationCount;
    if (void* block = std::malloc(size)) {
        return block;
    }
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept {
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
