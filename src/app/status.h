#pragma once

#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>

/// The status of a request, as it travels inside the system. Each status is one value; the values
/// are never combined. Clients see only the code and the message that utils::convertStatusTo...
/// give for it.
enum StatusCode_e : std::int32_t {
    StatusOk = 0,
    StatusMalformedJson = 2,
    StatusMalformedXml = 4,
    StatusMissingParameter = 8,
    StatusInvalidParameter = 16,
    StatusConflict = 32,
    StatusSaveError = 64,
    StatusFileError = 128,
    StatusMethodNotFound = 256,
    StatusInternalError = 512,
    StatusVersionNotSupported = 1024,
    StatusProductNotSupported = 2048,
    StatusTooManyRules = 4096,
};

/// A failure that a client is told of by its status. The message is for the log alone.
class StatusException : public std::exception {
public:
    StatusException(const std::string& message, StatusCode_e status);

    const char* what() const noexcept override;

    std::string message;
    StatusCode_e status;
};

namespace utils {

/// Throws StatusException(message, status) when the condition holds.
inline void throwIf(bool condition, const std::string& message, StatusCode_e status) {
    if (condition) {
        throw StatusException(message, status);
    }
}

/// Throws std::runtime_error(message) when the condition holds: for failures that mean nothing to a
/// client.
inline void throwIf(bool condition, const std::string& message) {
    if (condition) {
        throw std::runtime_error(message);
    }
}

/// The code of the control API for a status; "1000" for any value without a code of its own.
std::string convertStatusToJsonCode(StatusCode_e status);

/// The message of the control API for a status; the generic one for any value without its own.
std::string convertStatusToJsonMessage(StatusCode_e status);

}  // namespace utils
