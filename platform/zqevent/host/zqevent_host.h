#pragma once

#include <glib.h>

/// Where the host's event bus is. No part of the device's interface: the application never includes
/// this; tests and tools of the host use it to have a bus of their own.

G_BEGIN_DECLS
#pragma GCC visibility push(default)

typedef struct {
    const char* host;         ///< the broker's address, or with port 0 the path of its Unix socket
    int port;                 ///< 0..65535
    const char* prefix;       ///< first level of every topic
    const char* stateFolder;  ///< where the file of declared topics is kept
} ZQEventHostSettings;

/// Replaces the built-in settings (127.0.0.1:1883, "tarnwatch", /run/device/state) for the bus that
/// the next zq_event_handler_new() starts. Null members keep the built-in ones. Copied.
void zq_event_host_configure(const ZQEventHostSettings* settings);

/// Does now what the library does when the process ends: sends what waits (for at most a second),
/// says that the device is offline and disconnects. The next zq_event_handler_new() starts a new
/// bus; handlers of the old one may only be freed.
void zq_event_host_stop(void);

#pragma GCC visibility pop
G_END_DECLS
