#pragma once

#include <gio/gio.h>

/// The device's web server, as far as it hands requests to the application.
///
/// Where the endpoint stands in the web server's URL space is a matter of the application's
/// packaging: nothing here names it. A process has one handler at a time.

G_BEGIN_DECLS
#pragma GCC visibility push(default)

/// What answers requests. Owned by who made it.
typedef struct _ZQHttpHandler ZQHttpHandler;

/// Called once for each complete request. Calls come one after the other, on a thread of the
/// library; everything handed over is borrowed for the call.
///
/// `method`: the request's method, "POST"; empty when the web server did not tell.
/// `uri`: the request's path and query as the client wrote them; empty likewise.
/// `request`: the body, at most 256 KiB and without a NUL in it; never null.
/// `fields`: all that the web server tells of the request, name to value, both `const char*`: the
/// names of CGI, "REQUEST_METHOD", "REMOTE_ADDR", "HTTP_HOST" and so on.
/// `out`: the connection itself, towards the web server. The answer is written to it in the form of
/// CGI: header lines that end in "\r\n", among them "Status: ", then an empty line and the body.
/// Writing blocks, for a reader that has stalled at most seconds, and then fails. The connection
/// ends with the call; an answer of no bytes is an error of the web server to its client.
///
/// A callback may not throw, and may not free the handler.
typedef void (*ZQHttpCallback)(const char* method, const char* uri, const char* request,
                               GHashTable* fields, GOutputStream* out, void* userData);

/// From now on requests reach the callback, which may happen before this returns. `userData` is
/// borrowed until the handler is freed. Null, with the reason in the log, when the place where the
/// web server hands requests over cannot be taken.
ZQHttpHandler* zq_http_handler_new(ZQHttpCallback callback, void* userData);

/// Ends it: returns when no callback runs any more, and none will. Requests that have not reached
/// the callback by then end without an answer. Null is allowed.
void zq_http_handler_free(ZQHttpHandler* handler);

#pragma GCC visibility pop
G_END_DECLS
