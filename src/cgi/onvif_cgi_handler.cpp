#include "cgi/onvif_cgi_handler.h"

#include <syslog.h>

#include <stdexcept>

#include "cgi/cgi_handler_result.h"
#include "device/camera_info.h"

namespace {

constexpr const char* kAnalyticsService = "com.orva.Onvif.Analytics1";
constexpr const char* kRulesObject = "/com/orva/MotionRegion";
constexpr const char* kRulesInterface = "com.orva.Onvif.Rule1";

}  // namespace

Onvif_CGI_Handler::Onvif_CGI_Handler(CameraContainer& cameras, const API_VersionHandler& versions,
                                     const std::string& configuration,
                                     const std::string& motionLevel, const DataBoundaries* limits,
                                     const DefaultValues* proposals,
                                     ConfigurationParserI* configurationParser)
    : CGI_Handler(cameras, versions, configuration, motionLevel, limits, proposals,
                  configurationParser) {
    try {
        g_autoptr(GDBusConnection) bus = signalConnection.open();
        utils::throwIf(bus == nullptr, "Could not create dbus connection");
        utils::throwIf(g_dbus_connection_is_closed(bus) != FALSE, "Dbus connection is closed");
    } catch (const std::runtime_error& failure) {
        syslog(LOG_WARNING, "Could not open dbus connection for signal: %s\n", failure.what());
    }
}

std::unique_ptr<CGI_HandlerResult> Onvif_CGI_Handler::handleSetRequest(const char* request) {
    std::unique_ptr<CGI_HandlerResult> result = CGI_Handler::handleSetRequest(request);
    if (result->status == StatusOk) {
        for (int source = 0; source < CameraInfo::getNbrOfCameras(); ++source) {
            emitRulesChanged(source);
        }
    }
    return result;
}

std::unique_ptr<CGI_HandlerResult> Onvif_CGI_Handler::handleSetRequestWithoutDbusSignal(
    const char* request) {
    return CGI_Handler::handleSetRequest(request);
}

void Onvif_CGI_Handler::emitRulesChanged(int source) const {
    g_autoptr(GDBusConnection) bus = signalConnection.get();
    if (bus != nullptr) {
        // Meant to be one number, although the interface declares a text before it.
        g_dbus_connection_emit_signal(bus, kAnalyticsService, kRulesObject, kRulesInterface,
                                      "RulesChanged", g_variant_new("(i)", source), nullptr);
    }
}
