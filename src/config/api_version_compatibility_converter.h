#pragma once

#include <jansson.h>

#include <string>

#include "app/status.h"
#include "cgi/api_version.h"
#include "config/json_auto_ptr.h"

class API_VersionHandler;

/// Brings a request of an older API version up to the newest: a client that does not know a key
/// must not wipe it, so what its version lacks is taken from the stored document.
///
/// No lock; each user has one of his own.
class API_VersionCompatibilityConverter {
public:
    /// The request in the newest version of its major number, completed from the document stored at
    /// the path. On failure getStatus() is not StatusOk, the reason is in the log, and the text is
    /// empty. The stored document must be readable whatever the request's version.
    std::string handleOlderAPI_Versions(const std::string& request,
                                        const API_VersionHandler& versions,
                                        const std::string& path);

    /// How the last conversion ended; StatusMalformedJson before the first.
    StatusCode_e getStatus() const { return status; }

    /// Throws StatusException when `apiVersion` is missing or is not a string.
    API_Version getAPI_VersionOfRequest(const JsonAutoPtr& request) const;

    /// Sets the request's `apiVersion` to the text of `version`. Throws StatusException.
    void incrementAPI_VersionOfRequest(const JsonAutoPtr& request,
                                       const API_Version& version) const;

    /// Replaces what belongs to the alarm overlay by what is stored if `version` is below 1.3.
    /// Throws StatusException.
    void handleAlarmOverlayFeatures(const JsonAutoPtr& request, const API_Version& version,
                                    const JsonAutoPtr& stored);

    /// Replaces each camera's `overlayResolution`. Both arguments are `params` objects. Throws
    /// StatusException.
    void alarmOverlayUpdateCameraQuery(const json_t* stored, json_t* request) const;

    /// Replaces each profile's `alarmOverlayEnabled`. Both arguments are `params` objects. Throws
    /// StatusException.
    void alarmOverlayUpdateProfilesQuery(const json_t* stored, json_t* request) const;

private:
    StatusCode_e status = StatusMalformedJson;
};
