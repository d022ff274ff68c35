#pragma once

#include <jansson.h>

#include <string>

#include "app/status.h"

class API_VersionHandler;

/// The head of one request to the control API, and what of it an answer repeats.
class CGI_Header {
public:
    /// Reads the head of a request text. A head that is not good has a status, and is logged with
    /// the whole request:
    /// StatusMalformedJson: the text is not a JSON object or array; nothing was read.
    /// StatusMissingParameter: no method, or no version of the form major.minor.
    /// StatusVersionNotSupported: another major, or a minor above the highest of that major.
    CGI_Header(const char* request, const API_VersionHandler& versions);

    /// A new object with `apiVersion`, `method` and `context`, and with `error` if the head is not
    /// good (transferred to the caller); null when memory is short.
    json_t* createResponseHeader() const;

    /// The text under the key; empty when there is none.
    static std::string getValue(const std::string& key, json_t& object);

    /// As the request wrote it; empty when it is missing or not a text.
    std::string method;
    /// Likewise.
    std::string context;
    /// The version to answer with: the highest minor of the major asked for, and for a head that is
    /// not good the highest of all.
    std::string apiVersion;
    /// Whether `context` is not empty.
    bool hasContext = false;
    StatusCode_e status = StatusOk;

private:
    void read(json_t& request, const API_VersionHandler& versions);

    /// As the request wrote it, for the log.
    std::string requestedVersion;
};
