#pragma once

#include <glib.h>

/// Settings of the host's implementation, for tests. They hold for handlers that are made
/// afterwards.

G_BEGIN_DECLS
#pragma GCC visibility push(default)

/// Where the web server finds the application; null is /run/device/http.sock.
void zq_http_host_set_socket(const char* path);

/// For how many milliseconds a request may take to arrive, and for how many seconds an answer may
/// wait for its reader; 0 is the usual.
void zq_http_host_set_patience(unsigned requestMilliseconds, unsigned answerSeconds);

#pragma GCC visibility pop
G_END_DECLS
