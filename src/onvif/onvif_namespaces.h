#pragma once

// The XML namespaces of what is told to ONVIF clients.
inline constexpr const char* kOnvifSchema = "http://www.onvif.org/ver10/schema";
inline constexpr const char* kOnvifAnalytics = "http://www.onvif.org/ver20/analytics";
