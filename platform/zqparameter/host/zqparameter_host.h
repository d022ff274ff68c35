#pragma once

#include <glib.h>

/// Where the host's parameter file is. No part of the device's interface: the application never
/// includes this; tests and tools of the host use it to have a file of their own.

G_BEGIN_DECLS
#pragma GCC visibility push(default)

/// Replaces the built-in path, /run/device/state/parameters.conf, for connections made from now on;
/// null brings it back. Copied.
void zq_parameter_host_set_path(const char* path);

#pragma GCC visibility pop
G_END_DECLS
