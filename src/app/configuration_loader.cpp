#include "app/configuration_loader.h"

#include <jansson.h>
#include <syslog.h>

#include <cstdlib>

#include "app/status.h"
#include "cgi/api_version_handler.h"
#include "config/configuration_parser.h"
#include "config/default_config_creator.h"
#include "config/json_auto_ptr.h"
#include "config/json_parser.h"
#include "config/ktw_guard_factory.h"
#include "config/persistent_config_handler.h"
#include "config/upgrade_configuration.h"
#include "events/motion_level_settings.h"
#include "scene/camera_configuration_container.h"
#include "scene/camera_container.h"

namespace {

constexpr std::size_t kDumpFlags = JSON_REAL_PRECISION(4);

// Saves the document and returns the text that is now on disk.
std::string saveAndRefresh(const JsonAutoPtr& document, const std::string& path) {
    PersistentConfigHandler::save(document.get(), path);
    char* text = json_dumps(document.get(), kDumpFlags);
    std::string result = text != nullptr ? text : "";
    std::free(text);
    return result;
}

std::string createDefault(const ConfigurationLoader::Build& build, const std::string& path) {
    PersistentConfigHandler::setBrokenFileAside(path);
    const std::string version = build.controlVersions.getHighestSupportedVersion().text;
    return saveAndRefresh(DefaultConfigCreator(false).create(build.defaults, version), path);
}

// The text brought into line with the device, and the file with it; the text itself when nothing
// had to change or it could not be read.
std::string upgrade(const std::string& text, const std::string& path) {
    JsonAutoPtr document;
    try {
        document = JsonAutoPtr(JsonParser::decode(text.c_str()));
        utils::throwIf(!JsonParser::isValid(document.get()),
                       "Unable to decode Json: ", StatusMalformedJson);
        if (!upgradeConfiguration(document.get())) {
            return text;
        }
    } catch (const StatusException& failure) {
        syslog(LOG_WARNING, "Could not upgrade existing configuration: %s\n", failure.what());
        return text;
    }
    return saveAndRefresh(document, path);
}

}  // namespace

void ConfigurationLoader::load(CameraContainer& container, const Build& build, const Files& files) {
    const std::string stored = PersistentConfigHandler::load(files.configuration);
    const std::string text = stored.empty() ? createDefault(build, files.configuration)
                                            : upgrade(stored, files.configuration);

    ConfigurationParser<KTW_GuardFactory> parser;
    parser.parse(text, build.boundaries);
    if (parser.getStatus() != StatusOk) {
        return;
    }
    container.updateWithNewConfiguration(parser.createConfiguration());
    if (MotionLevelSettings::load(files.motionLevel)) {
        container.startMotionLevel();
    }
}
