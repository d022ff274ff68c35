// Random texts as requests to the control API: the repair against a plain loop, and the whole road
// to the answer, with a handler that has no cameras and a folder of its own.

#include <gio/gio.h>
#include <glib/gstdio.h>
#include <jansson.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>

#include "cgi/api_version_handler.h"
#include "cgi/cgi_callback.h"
#include "cgi/cgi_handler.h"
#include "cgi/request_text.h"
#include "config/configuration_parser.h"
#include "config/data_boundaries.h"
#include "config/default_values.h"
#include "config/json_auto_ptr.h"
#include "config/ktw_guard_factory.h"
#include "scene/camera.h"
#include "scene/camera_container.h"

// Every refusal is logged: not in the machine's log, here.
extern "C" void syslog(int, const char*, ...) {}
extern "C" void __syslog_chk(int, int, const char*, ...) {}

namespace {

constexpr const char* kVersions[] = {"1.0", "1.1", "1.2", "1.3", "1.4"};
constexpr std::size_t kLongestComparedText = 4096;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

class NoCameras : public CameraContainer {
public:
    NoCameras() : CameraContainer(API_VersionHandler(), 0) {}

protected:
    Camera* createCamera(int, int, API_VersionHandler, int) override { return nullptr; }
    void shutDownSub() override {}
};

/// A folder in memory, if there is one, so that syncing costs nothing.
class Folder {
public:
    Folder() {
        const char* root = g_file_test("/dev/shm", G_FILE_TEST_IS_DIR) ? "/dev/shm" : "/tmp";
        name = std::string(root) + "/request-fuzz-XXXXXX";
        require(g_mkdtemp(name.data()) != nullptr);
    }
    ~Folder() {
        g_unlink(configuration().c_str());
        g_unlink(motionLevel().c_str());
        g_rmdir(name.c_str());
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string configuration() const { return name + "/config.json"; }
    std::string motionLevel() const { return name + "/motion_level_config.json"; }

private:
    std::string name;
};

/// All that a request reaches.
class Application {
public:
    /// What is written in answer.
    std::string answerTo(const std::string& request) {
        g_autoptr(GOutputStream) stream = g_memory_output_stream_new_resizable();
        CGI_Callback::handle("", "", request.c_str(), nullptr, stream, &handler);
        auto* memory = G_MEMORY_OUTPUT_STREAM(stream);
        return {static_cast<const char*>(g_memory_output_stream_get_data(memory)),
                g_memory_output_stream_get_data_size(memory)};
    }

private:
    const Folder folder;
    const API_VersionHandler versions{kVersions, std::size(kVersions)};
    const DataBoundaries boundaries = DataBoundaries::ofThisBuild();
    const DefaultValues defaults = DefaultValues::ofThisBuild();
    ConfigurationParser<KTW_GuardFactory> parser;
    NoCameras container;
    CGI_Handler handler{
        container, versions, folder.configuration(), folder.motionLevel(), &boundaries,
        &defaults, &parser};
};

bool isJson(const std::string& text) {
    return JsonAutoPtr(json_loads(text.c_str(), 0, nullptr)).get() != nullptr;
}

/// A parse for each cut.
std::string repairedStepByStep(std::string text) {
    while (!isJson(text) && text.size() > 1) {
        const std::size_t brace = text.rfind('}', text.size() - 2);
        if (brace == std::string::npos) {
            break;
        }
        text.resize(brace + 1);
    }
    return text;
}

/// One object with the told members, behind the told head.
void checkAnswer(const std::string& answer) {
    const std::string head = "Content-Type: application/json\r\nStatus: 200 OK\r\n\r\n";
    require(answer.starts_with(head));
    const JsonAutoPtr object(json_loads(answer.c_str() + head.size(), 0, nullptr));
    require(json_is_string(json_object_get(object.get(), "apiVersion")));
    require(json_is_string(json_object_get(object.get(), "method")));
    require(json_is_string(json_object_get(object.get(), "context")));
    require(json_is_object(json_object_get(object.get(), "data")) !=
            json_is_object(json_object_get(object.get(), "error")));
    require(json_object_size(object.get()) == 4);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Application application;
    // As a body of the web server: it has no NUL in it.
    std::string request(reinterpret_cast<const char*>(data), size);
    request.resize(std::min(request.find('\0'), request.size()));

    const std::string repaired = RequestText::repair(request.c_str());
    require(request.starts_with(repaired));
    require(size > kLongestComparedText || repaired == repairedStepByStep(request));
    checkAnswer(application.answerTo(request));
    return 0;
}
