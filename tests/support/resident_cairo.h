#pragma once

#include <dlfcn.h>

/// The drawing library keeps caches to the end of the process. Unloaded, it would leave them behind
/// for a leak.
[[maybe_unused]] inline void* const residentCairo =
    dlopen("libcairo.so.2", RTLD_LAZY | RTLD_NODELETE);
