#pragma once

#include <stdexcept>

/// A command line or an input that cannot be used; what() says why.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
