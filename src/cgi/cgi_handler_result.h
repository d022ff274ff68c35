#pragma once

#include <jansson.h>

#include <string>

#include "app/status.h"

/// What a method of the control API has to say: its data, or why it failed.
class CGI_HandlerResult {
public:
    /// Everything empty.
    CGI_HandlerResult() = default;
    /// A success with data. Takes over the caller's reference (transferred); null is allowed.
    explicit CGI_HandlerResult(json_t* data);
    /// The same with a status, and with the code and the message that clients get for it.
    CGI_HandlerResult(json_t* data, StatusCode_e status);
    ~CGI_HandlerResult();
    CGI_HandlerResult(const CGI_HandlerResult&) = delete;
    CGI_HandlerResult& operator=(const CGI_HandlerResult&) = delete;

    /// Owned, one reference; may be null.
    json_t* data = nullptr;
    StatusCode_e status = StatusOk;
    std::string code;
    std::string message;
};
