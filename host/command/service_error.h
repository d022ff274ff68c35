#pragma once

#include <gio/gio.h>

#include <stdexcept>

/// A service that is not there or that refused; what() has the D-Bus error's name, if there is one.
class ServiceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;

    /// Throws a ServiceError that tells the error (borrowed) when there is no result.
    static void require(const void* result, GError* error);
};
