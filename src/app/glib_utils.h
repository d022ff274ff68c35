#pragma once

#include <glib.h>

#include <string>

/// GLib's error reports in the system's terms.
namespace GlibUtils {

/// Returns when `error` is null. Otherwise throws std::runtime_error with "context: message\n"; an
/// error without a message gives "context: " alone. The error stays the caller's.
void throwIfNotOk(const GError* error, const std::string& context);

/// Returns when `pointer` is not null. Otherwise throws std::runtime_error with
/// "context: Pointer was unexpectedly NULL".
void throwIfNull(const void* pointer, const std::string& context);

}  // namespace GlibUtils
