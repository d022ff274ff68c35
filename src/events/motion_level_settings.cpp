#include "events/motion_level_settings.h"

#include <jansson.h>
#include <syslog.h>

#include <exception>
#include <fstream>

#include "app/status.h"
#include "config/json_auto_ptr.h"
#include "config/parse_config.h"
#include "config/persistent_config_handler.h"

namespace {

constexpr const char* kActive = "active";

}  // namespace

bool MotionLevelSettings::save(bool active, const std::string& path) {
    try {
        const JsonAutoPtr settings(json_pack("{s:b}", kActive, active ? 1 : 0));
        utils::throwIf(settings.get() == nullptr, "Cannot create motion level active attribute");
        return PersistentConfigHandler::save(settings.get(), path);
    } catch (const std::exception& failure) {
        syslog(LOG_ERR, "%s\n", failure.what());
        return false;
    }
}

bool MotionLevelSettings::load(const std::string& path) {
    if (!std::ifstream(path).is_open()) {
        return false;
    }
    try {
        const JsonAutoPtr settings = ParseConfig::getPersistentConfig(path);
        return ParseConfig::parseBool(settings.get(), kActive);
    } catch (const std::exception& failure) {
        syslog(LOG_ERR, "%s\n", failure.what());
        return false;
    }
}
