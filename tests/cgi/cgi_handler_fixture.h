#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cgi/cgi_handler_result.h"
#include "cgi/onvif_cgi_handler.h"
#include "config/configuration_parser.h"
#include "config/data_boundaries.h"
#include "config/default_values.h"
#include "config/ktw_guard_factory.h"
#include "guard/guard.h"
#include "scene/camera_configuration_container.h"
#include "scene/camera_container.h"
#include "scene/socket_camera.h"
#include "support/json_support.h"
#include "support/scene_stage.h"
#include "support/syslog_capture.h"
#include "support/temporary_folder.h"
#include "support/test_profile.h"
#include "support/watched_device.h"

/// A container whose cameras get their scenes from the test.
class StagedContainer : public CameraContainer {
public:
    using CameraContainer::CameraContainer;
    using CameraContainer::s_cameras;
    using CameraContainer::s_mutex;

    /// The camera of that number, or null.
    static Camera* find(int number) {
        for (Camera* camera : s_cameras) {
            if (camera->getCameraId() == number) {
                return camera;
            }
        }
        return nullptr;
    }
    /// The ids of the profiles at work, camera by camera.
    static std::vector<int> profiles() {
        std::vector<int> ids;
        for (const Camera* camera : s_cameras) {
            for (int id = 0; id < 100; ++id) {
                if (camera->getGuard(id) != nullptr) {
                    ids.push_back(id);
                }
            }
        }
        return ids;
    }

protected:
    Camera* createCamera(int camera, int rotation, API_VersionHandler versions, int mask) override {
        return new SocketCamera(camera, rotation, std::move(versions), static_cast<unsigned>(mask));
    }
    void shutDownSub() override {}
};

/// What tests of the control API's methods share: a device, cameras, files, and a handler of any
/// kind on them.
template <typename Handler>
class CGI_HandlerFixture : public testing::Test {
protected:
    explicit CGI_HandlerFixture(const WatchedDevice::Parameters& parameters = WatchedDevice::plain)
        : device(parameters), container(std::make_unique<StagedContainer>(sceneVersions(), 14U)) {
        makeHandler();
    }

    void makeHandler() { makeHandler(defaults); }
    void makeHandler(const DefaultValues& values) { makeHandler(limits, values); }
    void makeHandler(const DataBoundaries& boundaries, const DefaultValues& values) {
        handler = std::make_unique<Handler>(*container, controlVersions(), configurationPath(),
                                            motionLevelPath(), &boundaries, &values, &parser);
    }

    static API_VersionHandler sceneVersions() {
        static const char* const texts[] = {"1.0", "1.1"};
        return {texts, 2};
    }
    static const API_VersionHandler& controlVersions() {
        static const char* const texts[] = {"1.0", "1.1", "1.2", "1.3", "1.4"};
        static const API_VersionHandler handler(texts, 5);
        return handler;
    }

    std::string configurationPath() const { return folder.path("config.json"); }
    std::string motionLevelPath() const { return folder.path("motion_level_config.json"); }
    void store(const std::string& document) const { folder.write("config.json", document); }
    std::string stored() const { return folder.read("config.json"); }
    int storedCounter() const {
        return static_cast<int>(json_integer_value(json_object_get(
            json_object_get(json(stored()).get(), "params"), "configurationStatus")));
    }

    /// The text of a request.
    static std::string request(const std::string& method, const std::string& params = "") {
        return R"({"apiVersion":"1.4","method":")" + method + '"' +
               (params.empty() ? "" : R"(,"params":)" + params) + "}";
    }
    /// Runs a request; its result.
    std::unique_ptr<CGI_HandlerResult> run(const std::string& method,
                                           const std::string& params = "") {
        return handler->handleRequest(request(method, params).c_str());
    }
    /// Runs a request; the status of its result, which has no data unless it is a success.
    StatusCode_e statusOf(const std::string& method, const std::string& params = "") {
        return check(run(method, params));
    }
    StatusCode_e set(const std::string& document) {
        return check(handler->handleSetRequest(document.c_str()));
    }
    static StatusCode_e check(const std::unique_ptr<CGI_HandlerResult>& result) {
        EXPECT_NE(result, nullptr);
        EXPECT_EQ(result->data, nullptr);
        return result->status;
    }

    /// A document of camera 1 with these profiles.
    static std::string documentOf(const std::vector<int>& uids) {
        std::vector<std::string> profiles;
        for (const int uid : uids) {
            const std::string number = std::to_string(uid);
            profiles.push_back(
                TestProfile::profile({{"uid", number}, {"name", "\"Door " + number + '"'}}));
        }
        return TestProfile::document({TestProfile::camera(1)}, profiles);
    }
    /// Stores a first document and makes it the running one.
    void start(const std::vector<int>& uids) {
        store(documentOf({}));
        ASSERT_EQ(set(documentOf(uids)), StatusOk);
        log.clear();
    }

    /// Makes these profiles the running ones, past handler and file.
    void apply(const std::vector<int>& uids) {
        parser.parse(documentOf(uids), limits);
        container->updateWithNewConfiguration(parser.createConfiguration());
    }

    /// Shows camera 1 the scene.
    void show(SceneStage::Time time) {
        char* block = stage.payloadAt(time).release();
        static_cast<SocketCamera*>(StagedContainer::find(1))->handleNoltData(block);
        std::free(block);
    }

    /// Expects the lines in the log, all at warning level, and forgets them.
    void expectWarnings(const std::vector<std::string>& texts) {
        std::vector<SyslogCapture::Line> lines;
        for (const std::string& text : texts) {
            lines.push_back({LOG_WARNING, text});
        }
        EXPECT_EQ(log.lines(), lines);
        log.clear();
    }

    WatchedDevice device;
    SyslogCapture log;
    TemporaryFolder folder;
    SceneStage stage;
    const DataBoundaries limits = DataBoundaries::ofThisBuild();
    const DefaultValues defaults = DefaultValues::ofThisBuild();
    ConfigurationParser<KTW_GuardFactory> parser;
    std::unique_ptr<StagedContainer> container;
    std::unique_ptr<Handler> handler;
};
