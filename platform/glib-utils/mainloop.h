#pragma once

#include <glib.h>

/// The device's main loop.

G_BEGIN_DECLS
#pragma GCC visibility push(default)

/// Starts a thread that runs the default main context, and returns. There is no stop: it runs to
/// the end of the process. Only the first call starts anything; further ones do nothing. The three
/// texts (all borrowed) name the application, for people and by its platform.
void mainloop_start(const char* name, const char* displayName, const char* platformName);

#pragma GCC visibility pop
G_END_DECLS
