#include "app/configuration_loader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <syslog.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "app/application.h"
#include "app/interval_timer_observable.h"
#include "cgi/api_version_handler.h"
#include "events/sdk_wrapper.h"
#include "scene/camera.h"
#include "scene/camera_container.h"
#include "support/camera_info_test_access.h"
#include "support/platform_doubles.h"
#include "support/syslog_capture.h"
#include "zqparameter/double/zqparameter_double.h"

namespace {

namespace fs = std::filesystem;

// A camera without a source of scenes.
class IdleCamera : public Camera {
public:
    using Camera::Camera;
    void handleNoltData(char*) override {}
};

class IdleContainer : public CameraContainer {
public:
    IdleContainer() : CameraContainer(API_VersionHandler(), 14) {}
    ~IdleContainer() override { removeAllCameras(); }

    std::vector<int> created;

protected:
    Camera* createCamera(int camera, int rotation, API_VersionHandler versions,
                         int newCapabilities) override {
        created.push_back(camera);
        return new IdleCamera(camera, rotation, versions, static_cast<unsigned>(newCapabilities));
    }
    void shutDownSub() override {}
};

constexpr const char* kDefaultDocument =
    R"({"apiVersion": "1.4", "context": "", "method": "setConfiguration", "params": {"cameras": )"
    R"([{"id": 1, "active": true, "rotation": 0}], "profiles": [{"filters": )"
    R"([{"active": true, "data": [5, 5], "type": "sizePercentage"}, )"
    R"({"active": true, "data": 1, "type": "timeShortLivedLimit"}, )"
    R"({"active": true, "data": 5, "type": "distanceSwayingObject"}], )"
    R"("triggers": [{"type": "includeArea", "data": [[-0.97, -0.97], [-0.97, 0.97], )"
    R"([0.97, 0.97], [0.97, -0.97]]}], "uid": 1, "camera": 1, "name": "Profile 1"}], )"
    R"("configurationStatus": 0}})";

class LoadingTheConfiguration : public PlatformDoublesTest {
protected:
    LoadingTheConfiguration() {
        char name[] = "/tmp/load-XXXXXX";
        folder = mkdtemp(name);
        files = {folder + "/config.json", folder + "/motion_level_config.json"};
        CameraInfoTestAccess::forget();
        IntervalTimerObservable::initialize(1000);
        sdk_wrapper_init("KTW", "Tarnwatch", "DeviceAppHost");
    }
    ~LoadingTheConfiguration() override {
        container.removeAllCameras();
        sdk_wrapper_cleanup();
        IntervalTimerObservable::deinitialize();
        fs::remove_all(folder);
    }

    void load() {
        ConfigurationLoader::load(
            container,
            {Application::getDefaultValues(), Application::getDataBoundaries(), versions}, files);
    }

    void store(const std::string& text) const { std::ofstream(files.configuration) << text; }

    static std::string contentOf(const std::string& path) {
        std::ifstream file(path);
        std::ostringstream content;
        content << file.rdbuf();
        return content.str();
    }
    std::string stored() const { return contentOf(files.configuration); }

    std::string folder;
    ConfigurationLoader::Files files;
    const char* texts[5] = {"1.0", "1.1", "1.2", "1.3", "1.4"};
    API_VersionHandler versions{texts, 5};
    IdleContainer container;
    SyslogCapture log;
};

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(LoadingTheConfiguration, CreatesSavesAndUsesADefaultDocumentWhenThereIsNone) {
    load();
    EXPECT_EQ(kDefaultDocument, stored());
    EXPECT_THAT(container.created, ElementsAre(1));
    EXPECT_TRUE(container.doesProfileExist(1));
}

TEST_F(LoadingTheConfiguration, TreatsAnEmptyFileAsAMissingOne) {
    store("");
    load();
    EXPECT_EQ(kDefaultDocument, stored());
    EXPECT_FALSE(fs::exists(files.configuration + ".broken"));
    EXPECT_THAT(container.created, ElementsAre(1));
}

TEST_F(LoadingTheConfiguration, SetsAFileThatIsNotJsonAsideAndUsesTheDefaultDocument) {
    store("{\"apiVersion\": ");
    load();
    EXPECT_EQ(kDefaultDocument, stored());
    EXPECT_EQ("{\"apiVersion\": ", contentOf(files.configuration + ".broken"));
    EXPECT_TRUE(log.has(LOG_WARNING, "Failed to read from file " + files.configuration + "\n"));
    EXPECT_THAT(container.created, ElementsAre(1));
}

TEST_F(LoadingTheConfiguration, LeavesAFileThatCannotBeDecodedOnceItIsReadAndRunsWithoutCameras) {
    // With the four digits it is read with, this number is greater than any that can be decoded.
    const std::string text = R"({"params": {"x": 1.7976931348623157e308}})";
    store(text);
    log.clear();
    load();
    EXPECT_THAT(log.texts(),
                ElementsAre("Could not upgrade existing configuration: Unable to decode Json: \n",
                            "Unable to decode Json: \n", "{\"params\": {\"x\": 1.798e308}}\n"));
    EXPECT_EQ(text, stored());
    EXPECT_FALSE(fs::exists(files.configuration + ".broken"));
    EXPECT_THAT(container.created, IsEmpty());
}

TEST_F(LoadingTheConfiguration, DoesNotRewriteADocumentThatNeedsNoUpgrade) {
    std::string text(kDefaultDocument);
    text += "\n\n";
    store(text);
    load();
    EXPECT_EQ(text, stored());
    EXPECT_THAT(container.created, ElementsAre(1));
}

TEST_F(LoadingTheConfiguration, RemovesASourceThatTheDeviceNoLongerOffersFromTheFileToo) {
    ZQParameterDouble::set("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration",
                           "yes");
    ZQParameterDouble::set("root.ImageSource.NbrOfSources", "2");
    ZQParameterDouble::set("root.ImageSource.I1.Type", "Radar");
    store(R"({"params": {"cameras": [{"id": 1, "active": true, "rotation": 0},)"
          R"({"id": 2, "active": true, "rotation": 0}], "profiles": []}})");
    load();
    EXPECT_EQ(
        R"({"params": {"cameras": [{"id": 1, "active": true, "rotation": 0}], "profiles": []}})",
        stored());
}

TEST_F(LoadingTheConfiguration, KeepsAnUpgradeOnDiskAlthoughTheDocumentIsThenRefused) {
    ZQParameterDouble::set("root.ImageSource.I0.Type", "Radar");
    store(R"({"params": {"cameras": [{"id": 1, "active": true, "rotation": 0}], "profiles": []}})");
    load();
    EXPECT_EQ(R"({"params": {"cameras": [], "profiles": []}})", stored());
    EXPECT_TRUE(log.has(LOG_WARNING, "No cameras found\n"));
    EXPECT_THAT(container.created, IsEmpty());
}

TEST_F(LoadingTheConfiguration, LogsAnUpgradeThatFailsAndParsesTheTextAsRead) {
    store(R"({"params": []})");
    load();
    EXPECT_TRUE(log.has(LOG_WARNING,
                        "Could not upgrade existing configuration: Could not get 'params': \n"));
    EXPECT_EQ(R"({"params": []})", stored());
    EXPECT_THAT(container.created, IsEmpty());
}

TEST_F(LoadingTheConfiguration, StartsTheMotionLevelThatWasStored) {
    std::ofstream(files.motionLevel) << R"({"active": true})";
    load();
    EXPECT_TRUE(container.isMotionLevelActive());
}

TEST_F(LoadingTheConfiguration, LooksAtTheStoredMotionLevelOnlyBehindAnAcceptedConfiguration) {
    const std::string look = "Failed to read from file " + files.motionLevel + "\n";
    std::ofstream(files.motionLevel) << "{";
    store(R"({"params": []})");
    load();
    EXPECT_FALSE(log.has(LOG_WARNING, look));
    fs::remove(files.configuration);
    load();
    EXPECT_TRUE(log.has(LOG_WARNING, look));
    EXPECT_FALSE(container.isMotionLevelActive());
}

TEST_F(LoadingTheConfiguration, LeavesTheMotionLevelOffWhenNothingWasStored) {
    load();
    EXPECT_FALSE(container.isMotionLevelActive());
}

}  // namespace
