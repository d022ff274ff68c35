#pragma once

#include <string>

class API_VersionHandler;
class CameraContainer;
class DataBoundaries;
class DefaultValues;

/// What start-up does with the files of the application's own folder.
namespace ConfigurationLoader {

/// What a configuration is held against, and what a new one is made of.
struct Build {
    const DefaultValues& defaults;
    const DataBoundaries& boundaries;
    const API_VersionHandler& controlVersions;
};

struct Files {
    std::string configuration;
    std::string motionLevel;
};

/// Loads the stored configuration, replacing one that is missing, empty or not JSON by the device's
/// default document and bringing an older one into line with the device, and applies it to the
/// container, with the stored choice of the motion level. A configuration that is not accepted
/// leaves the container without cameras, and the file as it is.
void load(CameraContainer& container, const Build& build, const Files& files);

}  // namespace ConfigurationLoader
