#include "command/service_error.h"

#include <string>

namespace {

/// "NAME: message", or the message alone when the error did not come over the bus.
std::string describe(GError* error) {
    g_autofree char* name = g_dbus_error_get_remote_error(error);
    if (name == nullptr) {
        return error->message;
    }
    g_dbus_error_strip_remote_error(error);
    return std::string(name) + ": " + error->message;
}

}  // namespace

void ServiceError::require(const void* result, GError* error) {
    if (result == nullptr) {
        throw ServiceError(describe(error));
    }
}
