#pragma once

#include <glib.h>

struct _GHashTable;
struct _GOutputStream;

/// Where requests to the control API come in: one at a time, from start to end under one mutex,
/// which thus also covers what a request saves and applies.
///
/// States: Running (from the start of the process) -> ShutDown, for good.
class CGI_Callback {
public:
    /// The callback for zq_http_handler_new(), on the web server's thread. `userData` is the
    /// CGI_Handler (borrowed); of the rest only the request and the stream are used. The answer
    /// is one JSON object with HTTP status 200 whatever became of the request. Writes nothing after
    /// shutDown().
    static void handle(const char*, const char*, const char* request, _GHashTable*,
                       _GOutputStream* out, void* userData);

    /// Waits for the request that is being handled; those that come later get no answer.
    static void shutDown();

private:
    static GMutex mutex;
    static bool isRunning;  // guarded by mutex
};
