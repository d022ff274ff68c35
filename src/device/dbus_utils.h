#pragma once

#include <gio/gio.h>

#include <string>

/// Synchronous calls on the system bus. Each blocks the calling thread until the reply.
///
/// Failures are std::runtime_error with the caller's `failureText`, then ": " and what happened:
/// the error's own message and a line end, or "Pointer was unexpectedly NULL".
namespace DBusUtils {

/// A proxy for an interface of an object; the caller unrefs it. The end of the bus does not end the
/// process.
GDBusProxy* createProxy(const std::string& name, const std::string& objectPath,
                        const std::string& interface, const std::string& failureText,
                        GDBusProxyFlags flags);

/// The same on a connection (borrowed): the service sees its calls come from there.
GDBusProxy* createProxy(GDBusConnection* bus, const std::string& name,
                        const std::string& objectPath, const std::string& interface,
                        const std::string& failureText, GDBusProxyFlags flags);

/// Calls a method. `parameters` may be null, a floating reference is consumed. The reply is the
/// caller's to unref. With `needsReply` a call that brings neither a reply nor an error fails too.
GVariant* callSync(GDBusProxy* proxy, const char* method, GVariant* parameters,
                   const std::string& failureText, bool needsReply);

/// Calls a method without parameters that hands out one file descriptor; the caller closes it.
int getFileDescriptor(GDBusProxy* proxy, const char* method, const std::string& failureText);

}  // namespace DBusUtils
