#pragma once

#include <stdexcept>
#include <string>

/// Why a request is not served: an HTTP status and a line for the client.
class WebError : public std::runtime_error {
public:
    WebError(unsigned httpStatus, const std::string& text)
        : std::runtime_error(text), status(httpStatus) {}

    const unsigned status;
};
