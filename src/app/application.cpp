#include "app/application.h"

#include <glib.h>
#include <malloc.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>
#include <memory>
#include <string>

#include "app/configuration_loader.h"
#include "app/interval_timer_observable.h"
#include "app/termination.h"
#include "cgi/api_version_handler.h"
#include "cgi/cgi_callback.h"
#include "cgi/onvif_cgi_handler.h"
#include "config/configuration_parser.h"
#include "config/data_boundaries.h"
#include "config/default_values.h"
#include "config/idd.h"
#include "config/ktw_guard_factory.h"
#include "config/persistent_config_handler.h"
#include "events/sdk_wrapper.h"
#include "onvif/onvif_dbus_handler.h"
#include "onvif/onvif_handler.h"
#include "overlay/alarm_overlay.h"
#include "scene/camera_container.h"
#include "scene/camera_container_factory.h"
#include "scene/nolt_utils.h"
#include "zqhttp/zqhttp.h"

namespace {

constexpr const char* kName = "Tarnwatch";
constexpr const char* kShortName = "KTW";
constexpr const char* kPlatformName = "DeviceAppHost";
constexpr int kTimerTick = 10000;  // microseconds
/// Bytes from which on a block goes back to the system as soon as it is freed: glibc's own value,
/// which it would raise with each such block. A huge request must not cost memory for good.
constexpr int kLargeBlock = 128 * 1024;

constexpr const char* kInstallationDataFile = "/usr/local/packages/ktw/localdata/idd.json";
constexpr const char* kConfigurationFile = "/usr/local/packages/ktw/localdata/config.json";
constexpr const char* kMotionLevelFile =
    "/usr/local/packages/ktw/localdata/motion_level_config.json";

constexpr unsigned kCapabilities = CapabilityPolygon | CapabilityVelocity | CapabilityLowConfident;

constexpr const char* kSceneVersions[] = {"1.0", "1.1"};
constexpr const char* kControlVersions[] = {"1.0", "1.1", "1.2", "1.3", "1.4"};

const DefaultValues defaultValues = DefaultValues::ofThisBuild();
const DataBoundaries dataBoundaries = DataBoundaries::ofThisBuild();
const API_VersionHandler controlVersions(kControlVersions, std::size(kControlVersions));

// Held by the main thread from the first line of run() to the last, but for its wait; otherwise
// taken by the SIGTERM handler alone.
GMutex applicationMutex;
GCond applicationCondition;
// Guarded by applicationMutex, both.
unsigned char applicationRunning = 1;
CameraContainer* cameraContainer = nullptr;  // owned

// Runs on the thread that takes SIGTERM. Waits while the main thread starts or stops everything, so
// a request in start-up is acted on as soon as there is something to stop.
void handleTermination(int) {
    g_mutex_lock(&applicationMutex);
    if (cameraContainer == nullptr) {
        _exit(1);
    }
    applicationRunning = 0;
    g_cond_signal(&applicationCondition);
    g_mutex_unlock(&applicationMutex);
}

void removeTemporaryFiles() {
    for (const char* path : {kConfigurationFile, kMotionLevelFile, kInstallationDataFile}) {
        PersistentConfigHandler::removeTemporaryFiles(path);
    }
}

void startUp(const API_VersionHandler& sceneVersions) {
    openlog(kName, LOG_NDELAY, LOG_USER);
    if (!Termination::deliverTo(handleTermination)) {
        syslog(LOG_ERR, "Signal handler could not be set up, error: %d\n", errno);
    }
    IntervalTimerObservable::initialize(kTimerTick);
    sdk_wrapper_init(kShortName, kName, kPlatformName);
    AlarmOverlay::enableIfSupported();
    cameraContainer = CameraContainerFactory::create(sceneVersions, kCapabilities);
    removeTemporaryFiles();
    IDD::initialize(API_Version("1.0"), kInstallationDataFile);
    if (!CameraContainer::hasCameras()) {
        ConfigurationLoader::load(*cameraContainer,
                                  {defaultValues, dataBoundaries, controlVersions},
                                  {kConfigurationFile, kMotionLevelFile});
    }
}

void waitForTermination() {
    while (applicationRunning != 0) {
        g_cond_wait(&applicationCondition, &applicationMutex);
    }
}

// The callers from outside go first, the rule service before this, so that nothing enters a dying
// container. The overlay goes when no camera can draw any more. The timer goes after the event
// wrapper, because removing events works through its observers.
void tearDown(ZQHttpHandler* requests) {
    CGI_Callback::shutDown();
    zq_http_handler_free(requests);
    cameraContainer->shutDown();
    delete cameraContainer;
    cameraContainer = nullptr;
    AlarmOverlay::disable();
    sdk_wrapper_cleanup();
    IntervalTimerObservable::deinitialize();
    closelog();
}

}  // namespace

const DefaultValues& Application::getDefaultValues() {
    return defaultValues;
}

const DataBoundaries& Application::getDataBoundaries() {
    return dataBoundaries;
}

int Application::run() {
    mallopt(M_MMAP_THRESHOLD, kLargeBlock);
    g_mutex_lock(&applicationMutex);
    const API_VersionHandler sceneVersions(kSceneVersions, std::size(kSceneVersions));
    startUp(sceneVersions);
    ConfigurationParser<KTW_GuardFactory> parser;
    Onvif_CGI_Handler methods(*cameraContainer, controlVersions, kConfigurationFile,
                              kMotionLevelFile, &dataBoundaries, &defaultValues, &parser);
    ZQHttpHandler* requests =
        zq_http_handler_new(CGI_Callback::handle, static_cast<CGI_Handler*>(&methods));
    OnvifHandler ruleOperations(methods);
    auto ruleService = std::make_unique<OnvifDBusHandler>(&ruleOperations);
    waitForTermination();
    ruleService.reset();
    tearDown(requests);
    g_mutex_unlock(&applicationMutex);
    return 0;
}
