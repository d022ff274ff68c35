// Random texts where the system reads configuration documents: as a request, as the stored document
// under a request of an older version, and as the installation data file.

#include <glib.h>
#include <glib/gstdio.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "cgi/api_version_handler.h"
#include "config/api_version_compatibility_converter.h"
#include "config/configuration_parser.h"
#include "config/data_boundaries.h"
#include "config/default_config_creator.h"
#include "config/default_values.h"
#include "config/idd.h"
#include "config/json_auto_ptr.h"
#include "config/json_parser.h"
#include "config/ktw_guard_factory.h"
#include "config/persistent_config_handler.h"
#include "config/upgrade_configuration.h"
#include "guard/guard.h"
#include "scene/camera_configuration_container.h"

// Every refusal is logged: not in the machine's log, here.
extern "C" void syslog(int, const char*, ...) {}
extern "C" void __syslog_chk(int, int, const char*, ...) {}

namespace {

constexpr const char* kVersions[] = {"1.0", "1.1", "1.2", "1.3", "1.4"};

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

/// A folder in memory, if there is one, so that syncing costs nothing.
class Folder {
public:
    Folder() {
        const char* root = g_file_test("/dev/shm", G_FILE_TEST_IS_DIR) ? "/dev/shm" : "/tmp";
        name = std::string(root) + "/configuration-fuzz-XXXXXX";
        require(g_mkdtemp(name.data()) != nullptr);
    }
    ~Folder() {
        g_unlink(stored().c_str());
        g_unlink(input().c_str());
        g_rmdir(name.c_str());
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string stored() const { return name + "/config.json"; }
    std::string input() const { return name + "/input.json"; }

private:
    std::string name;
};

std::string createDefaultDocument() {
    const DefaultValues defaults = DefaultValues::ofThisBuild();
    return JsonParser::dumpJsonToString(DefaultConfigCreator(false).create(defaults, "1.0").get());
}

void endGuards(const CameraConfigurationContainer& container) {
    for (const CameraConfiguration& camera : container.getConfigurations()) {
        for (const Guard* guard : camera.getGuards()) {
            delete guard;
        }
    }
}

void parse(const std::string& text) {
    static const DataBoundaries boundaries = DataBoundaries::ofThisBuild();
    ConfigurationParser<KTW_GuardFactory> parser;
    parser.parse(text, boundaries);
    if (parser.getStatus() == StatusOk) {
        endGuards(parser.createConfiguration());
    }
}

void upgrade(const std::string& text) {
    const JsonAutoPtr document(JsonParser::decode(text.c_str()));
    try {
        upgradeConfiguration(document.get());
        require(!upgradeConfiguration(document.get()));
    } catch (const StatusException&) {
        // Refused, as most texts are.
    }
}

void convert(const std::string& request, const std::string& path) {
    static const API_VersionHandler versions(kVersions, std::size(kVersions));
    API_VersionCompatibilityConverter converter;
    const std::string text = converter.handleOlderAPI_Versions(request, versions, path);
    require((converter.getStatus() == StatusOk) ==
            JsonParser::isValid(JsonAutoPtr(JsonParser::decode(text.c_str())).get()));
}

void countDisconnect(const std::string& path) {
    require(IDD::initialize(API_Version("1.0"), path));
    if (IDD::incrementNbrNoltDisconnects()) {
        // What it has written it can read.
        require(IDD::incrementNbrNoltDisconnects());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Folder folder;
    static const std::string defaultDocument = createDefaultDocument();
    static const bool isStored = PersistentConfigHandler::save(
        JsonAutoPtr(JsonParser::decode(defaultDocument.c_str())).get(), folder.stored());
    require(isStored);

    const std::string text(reinterpret_cast<const char*>(data), size);
    parse(text);
    upgrade(text);
    convert(text, folder.stored());

    std::ofstream(folder.input(), std::ios::binary) << text;
    convert(defaultDocument, folder.input());
    PersistentConfigHandler::getConfigurationStatus(folder.input());
    countDisconnect(folder.input());
    return 0;
}
