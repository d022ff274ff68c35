#include <dlfcn.h>

namespace {

// The drawing library keeps caches to the end of the process. Unloaded, it would leave them behind
// for a leak.
[[maybe_unused]] void* const resident = dlopen("libcairo.so.2", RTLD_LAZY | RTLD_NODELETE);

}  // namespace
