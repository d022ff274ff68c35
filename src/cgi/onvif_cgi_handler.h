#pragma once

#include "cgi/cgi_handler.h"
#include "device/bus_connection.h"

/// The control API of a device that offers its configuration as analytics rules as well: the rule
/// service's clients are told when the configuration changed behind their back.
///
/// Works without the signal while the system bus is away, and with it again when the bus is back.
class Onvif_CGI_Handler : public CGI_Handler {
public:
    /// The arguments are those of CGI_Handler. A bus that cannot be reached is logged.
    Onvif_CGI_Handler(CameraContainer& container, const API_VersionHandler& versions,
                      const std::string& configurationPath, const std::string& motionLevelPath,
                      const DataBoundaries* boundaries, const DefaultValues* defaults,
                      ConfigurationParserI* parser);

    /// As CGI_Handler's; on success the signal "RulesChanged" goes to the analytics service, once
    /// for each video source.
    std::unique_ptr<CGI_HandlerResult> handleSetRequest(const char* request) override;

    /// As CGI_Handler's: for the rule service's own changes. Any thread may call; never null.
    std::unique_ptr<CGI_HandlerResult> handleSetRequestWithoutDbusSignal(const char* request);

private:
    void emitRulesChanged(int source) const;

    BusConnection signalConnection;
};
