#pragma once

#include <glib.h>

/// The device's parameters: a store of named texts that changes while the process runs.
///
/// Names are dotted, "root.Properties.System.Soc"; the leading "root." may be left out. Every
/// function may be called from any thread.

G_BEGIN_DECLS
#pragma GCC visibility push(default)

/// A connection to the store. Owned by who made it.
typedef struct _ZQParameter ZQParameter;

#define ZQ_PARAMETER_ERROR (zq_parameter_error_quark())
GQuark zq_parameter_error_quark(void);

typedef enum {
    ZQ_PARAMETER_ERROR_INVALID,   ///< an argument is not acceptable
    ZQ_PARAMETER_ERROR_NOT_FOUND  ///< no parameter of that name
} ZQParameterError;

/// Connects the application `name`. Null, with `error` set if it is not null, when that fails.
ZQParameter* zq_parameter_new(const char* name, GError** error);
/// Null is allowed.
void zq_parameter_free(ZQParameter* handler);

/// Reads the present value of a parameter. On success TRUE, and `*value` is a copy to be released
/// with g_free(); an empty value is a value. Otherwise FALSE, with `error` set if it is not null
/// and
/// `*value` as it was.
gboolean zq_parameter_get(ZQParameter* handler, const char* name, char** value, GError** error);

#pragma GCC visibility pop
G_END_DECLS
