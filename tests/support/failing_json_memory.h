#pragma once

#include <jansson.h>

#include <cstdlib>

/// Lets the n-th allocation (from 1) of the JSON library fail while it lives, once. One at a time.
class FailingJsonMemory {
public:
    explicit FailingJsonMemory(int n) {
        remaining = n;
        json_set_alloc_funcs(allocate, std::free);
    }
    ~FailingJsonMemory() { json_set_alloc_funcs(std::malloc, std::free); }
    FailingJsonMemory(const FailingJsonMemory&) = delete;
    FailingJsonMemory& operator=(const FailingJsonMemory&) = delete;

    /// Whether there were fewer allocations than n.
    bool hasNotFailed() const { return remaining > 0; }

private:
    static void* allocate(std::size_t size) {
        return --remaining == 0 ? nullptr : std::malloc(size);
    }

    static inline int remaining = 0;
};
