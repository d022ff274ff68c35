#pragma once

#include <string>
#include <vector>

#include "glib-utils/mainloop.h"

/// A main loop for tests: it records that it was started and starts nothing. A test that wants
/// callbacks iterates the default main context itself. Process-wide, thread-safe.
namespace GlibUtilsDouble {

struct Start {
    std::string name;
    std::string displayName;
    std::string platformName;
    friend bool operator==(const Start&, const Start&) = default;
};

/// Forgets the calls.
void reset();
/// All calls of mainloop_start() since reset(), in order.
std::vector<Start> starts();

}  // namespace GlibUtilsDouble
