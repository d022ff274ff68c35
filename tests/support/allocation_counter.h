#pragma once

#include <atomic>
#include <cstddef>

/// How often this program has called for memory by operator new.
extern std::atomic<std::size_t> allocationCount;
