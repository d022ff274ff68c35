#pragma once

#include <glib.h>
#include <jansson.h>

#include <array>
#include <memory>
#include <string>

#include "app/status.h"
#include "config/json_auto_ptr.h"

class API_VersionHandler;
class CameraContainer;
class CGI_HandlerResult;
class CGI_Header;
class ConfigurationParserI;
class DataBoundaries;
class DefaultValues;

/// The methods of the control API.
///
/// Threads: any; requests of the web server come one at a time, those of the rule service beside
/// them. A mutex of its own covers setting a configuration from the first look at the document to
/// the swap of the running guards, so that no two can see, save or apply half of each other's work;
/// whoever is last wins with his whole document. Order of locks: that of the requests, this one,
/// the container's.
///
/// A request that is refused is a result with a status; its reason is in the log at warning level,
/// and no StatusException leaves, with the one exception that getSupportedVersions lets it pass
/// when there is no memory.
class CGI_Handler {
public:
    /// The paths are those of the stored configuration and of the stored choice of the motion
    /// level. All else is borrowed and outlives the handler.
    CGI_Handler(CameraContainer& container, const API_VersionHandler& versions,
                const std::string& configurationPath, const std::string& motionLevelPath,
                const DataBoundaries* boundaries, const DefaultValues* defaults,
                ConfigurationParserI* parser);
    CGI_Handler(const CGI_Handler&) = delete;
    CGI_Handler& operator=(const CGI_Handler&) = delete;

    /// Runs one request; `request` is its repaired text. The result is the caller's; null for a
    /// request whose head is bad.
    std::unique_ptr<CGI_HandlerResult> handleRequest(const char* request);

    /// The head of a request, good or bad.
    CGI_Header extractHeader(const char* request) const;

    /// Runs a method by its name. Never null.
    virtual std::unique_ptr<CGI_HandlerResult> handleRequestedCgi(const char* request,
                                                                  const std::string& method);

    /// Makes the document of the request the stored and the running configuration. When it is
    /// refused the cameras run on as they are, and so does the file.
    virtual std::unique_ptr<CGI_HandlerResult> handleSetRequest(const char* request);

    /// The filters and triggers of the capabilities. Throw StatusException.
    virtual JsonAutoPtr createDefaultFilters() const;
    virtual JsonAutoPtr createDefaultTriggers() const;

    virtual ~CGI_Handler();

    /// The path of the stored configuration.
    const std::string& getConfigurationPath() const { return configurationPath; }

    /// Throws StatusException(message, status) when the condition holds.
    void throwIf(bool condition, const std::string& message, StatusCode_e status) const;

    /// The decoded document with its counter `configurationStatus` one above `status`, which wraps
    /// from the greatest int to 1. Null when that cannot be done.
    JsonAutoPtr updateConfigurationStatus(const std::string& document, int status) const;
    /// The same with the stored counter, and completed for a device with a mechanical PTZ head.
    JsonAutoPtr updateQuery(const std::string& document) const;
    /// Gives each profile without a `presets` array an empty one.
    void addEmptyPTZ_PresetsIfMissing(json_t* document) const;

    /// 3 by 3, by rows.
    using TransformationMatrix = std::array<double, 9>;
    /// The numbers under `transform`. Throws StatusException.
    TransformationMatrix createTransformationMatrix(const json_t& params) const;

private:
    std::unique_ptr<CGI_HandlerResult> handleGetRequest() const;
    std::unique_ptr<CGI_HandlerResult> handleGetSupportedVersions() const;
    std::unique_ptr<CGI_HandlerResult> handleConfigurationCapabilities() const;
    std::unique_ptr<CGI_HandlerResult> handleStartVisualConfirmation(const char* request);
    std::unique_ptr<CGI_HandlerResult> handleStopVisualConfirmation();
    std::unique_ptr<CGI_HandlerResult> handleStartMotionLevel();
    std::unique_ptr<CGI_HandlerResult> handleStopMotionLevel();
    std::unique_ptr<CGI_HandlerResult> handleSendAlarmEvent(const char* request);

    std::string convertToNewestVersion(const char* request) const;
    bool isMotionLevelSupported() const;

    CameraContainer& container;
    const API_VersionHandler& versionHandler;
    const std::string configurationPath;
    const std::string motionLevelPath;
    const DataBoundaries* boundaries;  // borrowed
    const DefaultValues* defaults;     // borrowed
    ConfigurationParserI* parser;      // borrowed; guarded by configurationMutex
    GMutex configurationMutex;
};
