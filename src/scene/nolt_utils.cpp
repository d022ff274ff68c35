#include "scene/nolt_utils.h"

#include <syslog.h>

#include "cgi/api_version.h"

namespace {

struct VersionCapabilities {
    int major;
    int minor;
    unsigned mask;
};

constexpr VersionCapabilities kVersions[] = {
    {1, 0, CapabilityBoundingBox | CapabilityPolygon | CapabilityVelocity},
    {1, 1, CapabilityBoundingBox | CapabilityPolygon | CapabilityVelocity | CapabilityLowConfident},
};

}  // namespace

unsigned NoltUtils::getSupportedCapabilities(const API_Version& version) {
    for (const VersionCapabilities& row : kVersions) {
        if (row.major == version.major && row.minor == version.minor) {
            return row.mask;
        }
    }
    syslog(LOG_WARNING, "Cannon find the capabilities for version %s\n", version.text.c_str());
    return 0;
}

unsigned NoltUtils::removeUnsupportedCapabilites(const API_Version& version, unsigned mask) {
    return mask & getSupportedCapabilities(version);
}

bool NoltUtils::areCapabilitiesSupported(const API_Version& version, unsigned mask) {
    return (mask & ~getSupportedCapabilities(version)) == 0;
}
