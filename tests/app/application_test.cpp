#include "app/application.h"

#include <gio/gio.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <functional>
#include <future>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cgi/cgi_callback.h"
#include "cgi/cgi_handler.h"
#include "cgi/cgi_handler_result.h"
#include "overlay/alarm_overlay.h"
#include "overlay/alarm_overlay_lock.h"
#include "overlay/overlay_services.h"
#include "scene/camera_container.h"
#include "support/camera_info_test_access.h"
#include "support/main_loop_thread.h"
#include "support/overlay_device.h"
#include "support/own_process.h"
#include "support/platform_doubles.h"
#include "support/private_bus.h"
#include "support/scene_server.h"
#include "support/subscriber_module/named_subscriber_module.h"
#include "support/syslog_capture.h"
#include "zqhttp/double/zqhttp_double.h"

namespace {

/// A container without cameras that is never destroyed, as the application has its own.
CameraContainer& noCameras() {
    class NoCameras : public CameraContainer {
    public:
        NoCameras() : CameraContainer({}, 0) {}

    protected:
        Camera* createCamera(int, int, API_VersionHandler, int) override { return nullptr; }
        void shutDownSub() override {}
    };
    static auto* const container = new NoCameras;
    return *container;
}

const API_VersionHandler& newestVersion() {
    static const char* const text = "1.4";
    static const API_VersionHandler versions(&text, 1);
    return versions;
}

/// Answers when it is told to.
class SlowHandler : public CGI_Handler {
public:
    SlowHandler() : CGI_Handler(noCameras(), newestVersion(), "", "", nullptr, nullptr, nullptr) {}

    std::unique_ptr<CGI_HandlerResult> handleRequestedCgi(const char*,
                                                          const std::string&) override {
        entered.set_value();
        leave.get_future().wait();
        return std::make_unique<CGI_HandlerResult>(nullptr, StatusOk);
    }

    std::promise<void> entered;
    std::promise<void> leave;
};

/// The application on a device whose scene source is there and which has nothing to analyse.
class ApplicationTest : public PlatformDoublesTest {
protected:
    ApplicationTest() {
        CameraInfoTestAccess::forget();
        ZQHttpDouble::reset();
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", TRUE);
        ZQParameterDouble::set("root.Properties.EmbeddedDevelopment.Version", "2.14");
        ZQParameterDouble::set("root.ImageSource.I0.Type", "Radar");
    }
    ~ApplicationTest() override {
        g_unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
        CameraInfoTestAccess::forget();
    }

    /// The files' places are fixed, and a test has no business there: nothing can be written.
    static void writeNothing() {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit nothing{0, 0};
        setrlimit(RLIMIT_FSIZE, &nothing);
    }

    /// Requests a stop that waits until there is a handler for it.
    static void requestStopBeforeStart() {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        kill(getpid(), SIGTERM);
    }

    static void waitFor(const std::function<bool()>& condition) {
        for (int i = 0; !condition(); ++i) {
            if (i == 100000) {
                _exit(98);
            }
            g_usleep(100);
        }
    }

    /// Ends the process when the condition does not hold; the status tells which.
    static void expect(bool condition, int status) {
        if (!condition) {
            _exit(status);
        }
    }

    /// From now on there can be no handler for SIGTERM.
    static void refuseHandlers() {
        sock_filter program[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_rt_sigaction, 0, 3),
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[0])),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SIGTERM, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        };
        const sock_fprog filter{std::size(program), program};
        if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
            prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
            _exit(97);
        }
    }

    static bool isListeningToPTZ() {
        const std::vector<ZQEventDouble::Subscription> all = ZQEventDouble::subscriptions();
        return std::any_of(all.begin(), all.end(), [](const auto& one) { return one.subscribed; });
    }

    /// The name of the error with which this process's rule service answers a look at the rules.
    static std::string rulesOf(const PrivateBus& bus) {
        g_autoptr(GDBusConnection) own = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
        g_autoptr(GDBusConnection) client = bus.connect();
        g_autoptr(GError) error = nullptr;
        g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
            client, g_dbus_connection_get_unique_name(own), "/com/orva/MotionRegion",
            "com.orva.Onvif.Rule1", "GetRules", g_variant_new("(iiii)", 0, 640, 480, 0), nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
        g_dbus_connection_close_sync(client, nullptr, nullptr);
        g_autofree char* name =
            error != nullptr ? g_dbus_error_get_remote_error(error) : g_strdup("");
        return name != nullptr ? name : "";
    }

    SceneServer server;
};

TEST_F(ApplicationTest, ARequestDuringStartUpIsDeferredAndEndsItInOrder) {
    EXPECT_EQ(0, exitStatusOf([] {
                  writeNothing();
                  requestStopBeforeStart();
                  _exit(Application::run() == 0 ? 0 : 2);
              }));
}

TEST_F(ApplicationTest, ARequestAfterTearDownEndsTheProcessWithStatusOne) {
    EXPECT_EQ(1, exitStatusOf([] {
                  writeNothing();
                  requestStopBeforeStart();
                  if (Application::run() != 0) {
                      _exit(2);
                  }
                  kill(getpid(), SIGTERM);
                  waitFor([] { return false; });
              }));
}

TEST_F(ApplicationTest, AsksTheSceneSourceForWhatItNeeds) {
    if (g_file_test("/usr/local/packages/ktw/localdata", G_FILE_TEST_EXISTS)) {
        GTEST_SKIP() << "the application is installed here, with a configuration of its own";
    }
    ZQParameterDouble::remove("root.ImageSource.I0.Type");
    EXPECT_EQ(0, exitStatusOf([this] {
                  writeNothing();
                  std::thread([this] {
                      server.accept();  // the look whether the source is there
                      // Outlines, velocities and objects of low confidence, and no boxes.
                      _exit(server.accept().readRequest() == "1.1 OPEN 0 1 1 1 1\n" ? 0 : 2);
                  }).detach();
                  Application::run();
              }));
}

TEST_F(ApplicationTest, AnswersRequestsUntilItStops) {
    EXPECT_EQ(0, exitStatusOf([] {
                  writeNothing();
                  const std::string request =
                      R"({"apiVersion":"1.0","method":"getSupportedVersions"})";
                  std::thread([&request] {
                      waitFor([] { return ZQHttpDouble::liveHandlers() == 1; });
                      expect(ZQHttpDouble::request(request).text ==
                                 "Content-Type: application/json\r\nStatus: 200 OK\r\n\r\n"
                                 R"({"apiVersion":"1.4","method":"getSupportedVersions",)"
                                 R"("context":"","data":{"apiVersions":)"
                                 R"(["1.0","1.1","1.2","1.3","1.4"]}})",
                             3);
                      kill(getpid(), SIGTERM);
                  }).detach();
                  expect(Application::run() == 0, 2);
                  expect(ZQHttpDouble::log() == std::vector<std::string>{"zq_http_handler_new",
                                                                         "zq_http_handler_free"},
                         4);
                  expect(ZQHttpDouble::misuses().empty(), 5);
                  _exit(0);
              }));
}

TEST_F(ApplicationTest, WaitsForARunningRequestAndAnswersNoneAfterIt) {
    EXPECT_EQ(
        0, exitStatusOf([] {
            writeNothing();
            static SlowHandler slow;
            std::thread([] {
                waitFor([] { return ZQHttpDouble::liveHandlers() == 1; });
                g_autoptr(GOutputStream) out = g_memory_output_stream_new_resizable();
                CGI_Callback::handle("", "", R"({"apiVersion":"1.4","method":"slow"})", nullptr,
                                     out, &slow);
                expect(g_memory_output_stream_get_data_size(G_MEMORY_OUTPUT_STREAM(out)) > 0, 3);
            }).detach();
            std::thread([] {
                slow.entered.get_future().wait();
                kill(getpid(), SIGTERM);
                // Time to do wrong in.
                g_usleep(50000);
                expect(ZQHttpDouble::liveHandlers() == 1, 4);
                slow.leave.set_value();
            }).detach();
            expect(Application::run() == 0, 2);
            g_autoptr(GOutputStream) late = g_memory_output_stream_new_resizable();
            CGI_Callback::handle("", "", "{}", nullptr, late, &slow);
            expect(g_memory_output_stream_get_data_size(G_MEMORY_OUTPUT_STREAM(late)) == 0, 5);
            _exit(0);
        }));
}

TEST_F(ApplicationTest, LetsTheWebServerGoBeforeTheCamerasAndTheCamerasBeforeTheBus) {
    if (g_file_test("/usr/local/packages/ktw/localdata", G_FILE_TEST_EXISTS)) {
        GTEST_SKIP() << "the application is installed here, with a configuration of its own";
    }
    ZQParameterDouble::remove("root.ImageSource.I0.Type");
    ZQParameterDouble::set("root.Properties.PTZ.PTZ", "yes");
    EXPECT_EQ(0, exitStatusOf([this] {
                  writeNothing();
                  std::thread([this] {
                      server.accept();  // the look whether the source is there
                      ScenePeer engine = server.acceptAndGrant();
                      waitFor([] { return ZQHttpDouble::liveHandlers() == 1; });
                      expect(CameraContainer::hasCameras(), 3);
                      expect(isListeningToPTZ(), 4);
                      engine.sendHead(100);
                      waitFor([&] { return engine.isAllTaken(); });
                      kill(getpid(), SIGTERM);
                      // The camera waits for the rest of a frame, and the end for the camera.
                      waitFor([] { return ZQHttpDouble::liveHandlers() == 0; });
                      waitFor([] { return !isListeningToPTZ(); });
                      expect(engine.isOpen(), 5);
                      expect(!ZQEventDouble::declared().empty(), 6);
                      expect(!ZQHttpDouble::request("{}").isHandled, 7);
                      engine.close();
                      server.stopListening();
                  }).detach();
                  expect(Application::run() == 0, 2);
                  expect(!CameraContainer::hasCameras(), 8);
                  expect(ZQEventDouble::declared().empty(), 9);
                  _exit(0);
              }));
}

TEST_F(ApplicationTest, ServesRulesUntilItStops) {
    if (g_file_test("/usr/local/packages/ktw/localdata", G_FILE_TEST_EXISTS)) {
        GTEST_SKIP() << "the application is installed here, with a configuration of its own";
    }
    EXPECT_EQ(0, exitStatusOf([] {
                  const PrivateBus bus;
                  const MainLoopThread loop;
                  writeNothing();
                  std::thread([&bus] {
                      waitFor([] { return ZQHttpDouble::liveHandlers() == 1; });
                      // As soon as the object is there; there is no document to read rules from.
                      waitFor([&bus] {
                          return rulesOf(bus) == "com.orva.Onvif.Rule1.Error.InternalError";
                      });
                      kill(getpid(), SIGTERM);
                  }).detach();
                  expect(Application::run() == 0, 2);
                  expect(rulesOf(bus) == "org.freedesktop.DBus.Error.UnknownMethod", 3);
                  _exit(0);
              }));
}

TEST_F(ApplicationTest, LetsTheRuleServiceGoBeforeItWaitsForARunningRequest) {
    if (g_file_test("/usr/local/packages/ktw/localdata", G_FILE_TEST_EXISTS)) {
        GTEST_SKIP() << "the application is installed here, with a configuration of its own";
    }
    EXPECT_EQ(0, exitStatusOf([] {
                  const PrivateBus bus;
                  const MainLoopThread loop;
                  writeNothing();
                  static SlowHandler slow;
                  std::thread([] {
                      waitFor([] { return ZQHttpDouble::liveHandlers() == 1; });
                      g_autoptr(GOutputStream) out = g_memory_output_stream_new_resizable();
                      CGI_Callback::handle("", "", R"({"apiVersion":"1.4","method":"slow"})",
                                           nullptr, out, &slow);
                  }).detach();
                  std::thread([&bus] {
                      slow.entered.get_future().wait();
                      waitFor([&bus] {
                          return rulesOf(bus) == "com.orva.Onvif.Rule1.Error.InternalError";
                      });
                      kill(getpid(), SIGTERM);
                      waitFor([&bus] {
                          return rulesOf(bus) == "org.freedesktop.DBus.Error.UnknownMethod";
                      });
                      expect(ZQHttpDouble::liveHandlers() == 1, 3);
                      slow.leave.set_value();
                  }).detach();
                  expect(Application::run() == 0, 2);
                  _exit(0);
              }));
}

/// A device with overlay services, and with the subscriber module, in a process of its own.
struct DeviceWithOverlays {
    DeviceWithOverlays() {
        CameraInfoTestAccess::setMachineFile("/nonexistent/machine");
        AlarmOverlay::forgetDBusNames();
        ZQParameterDouble::set("root.Properties.EmbeddedDevelopment.Version", "2.16");
        ZQParameterDouble::set("ImageSource.I0.Sensor.AspectRatio", "16:9");
        ZQParameterDouble::set("root.Properties.Image.Resolution", "1280x720");
        ZQParameterDouble::remove("root.ImageSource.I0.Type");
    }

    PrivateBus bus;
    OverlayDevice services{bus};
    MainLoopThread mainLoop;
    NamedSubscriberModule module;
};

TEST_F(ApplicationTest, EnablesTheOverlayBetweenTheWrapperAndTheStoredConfiguration) {
    if (g_file_test("/usr/local/packages/ktw/localdata", G_FILE_TEST_EXISTS)) {
        GTEST_SKIP() << "the application is installed here, with a configuration of its own";
    }
    EXPECT_EQ(0, exitStatusOf([] {
                  auto device = std::make_unique<DeviceWithOverlays>();
                  writeNothing();
                  std::promise<void> isHeld;
                  std::thread([&] {
                      // Nothing can be enabled meanwhile.
                      g_rec_mutex_lock(AlarmOverlay::getLock());
                      isHeld.set_value();
                      waitFor([] { return ZQParameterDouble::liveHandlers() == 1; });
                      // Time to do wrong in.
                      g_usleep(50000);
                      expect(!CameraContainer::hasCameras(), 3);
                      expect(device->services.calls().empty(), 4);
                      g_rec_mutex_unlock(AlarmOverlay::getLock());
                      waitFor([] { return ZQHttpDouble::liveHandlers() == 1; });
                      expect(AlarmOverlay::isEnabled(), 5);
                      expect(CameraContainer::hasCameras(), 6);
                      // The configuration found the handler there.
                      const std::vector<std::string> calls = device->services.calls();
                      expect(calls.size() == 8, 7);
                      expect(calls[5].starts_with("GetCommandChannel"), 8);
                      expect(calls[6].starts_with("GetManagedObjects /com/orva/Graphics1"), 9);
                      expect(calls[7].starts_with("GetManagedObjects /com/orva/Overlay2"), 10);
                      kill(getpid(), SIGTERM);
                  }).detach();
                  isHeld.get_future().wait();
                  expect(Application::run() == 0, 2);
                  device.reset();
                  _exit(0);
              }));
}

TEST_F(ApplicationTest, DisablesTheOverlayBetweenTheCamerasAndTheWrapper) {
    if (g_file_test("/usr/local/packages/ktw/localdata", G_FILE_TEST_EXISTS)) {
        GTEST_SKIP() << "the application is installed here, with a configuration of its own";
    }
    EXPECT_EQ(0, exitStatusOf([] {
                  auto device = std::make_unique<DeviceWithOverlays>();
                  writeNothing();
                  std::thread([&device] {
                      waitFor([] { return ZQHttpDouble::liveHandlers() == 1; });
                      expect(device->module->live() == 1, 3);
                      // Nothing can be disabled meanwhile.
                      g_rec_mutex_lock(AlarmOverlay::getLock());
                      kill(getpid(), SIGTERM);
                      waitFor([&device] { return device->module->live() == 0; });
                      // Time to do wrong in.
                      g_usleep(50000);
                      expect(AlarmOverlay::isEnabled(), 4);
                      expect(!CameraContainer::hasCameras(), 5);
                      expect(ZQParameterDouble::liveHandlers() == 1, 6);
                      g_rec_mutex_unlock(AlarmOverlay::getLock());
                  }).detach();
                  expect(Application::run() == 0, 2);
                  expect(!AlarmOverlay::isEnabled(), 7);
                  expect(ZQParameterDouble::liveHandlers() == 0, 8);
                  device.reset();
                  _exit(0);
              }));
}

TEST_F(ApplicationTest, RunsWithoutTheOverlayWhenItCannotBeEnabled) {
    EXPECT_EQ(0, exitStatusOf([] {
                  auto device = std::make_unique<DeviceWithOverlays>();
                  writeNothing();
                  device->services.failAt(6);
                  std::thread([] {
                      waitFor([] { return ZQHttpDouble::liveHandlers() == 1; });
                      kill(getpid(), SIGTERM);
                  }).detach();
                  expect(Application::run() == 0, 2);
                  expect(!device->services.hasNotFailed(), 3);
                  expect(!AlarmOverlay::isEnabled(), 4);
                  device.reset();
                  _exit(0);
              }));
}

TEST_F(ApplicationTest, RunsWithoutABusAndSaysSoForEachUseOfIt) {
    EXPECT_EQ(0, exitStatusOf([] {
                  writeNothing();
                  requestStopBeforeStart();
                  const SyslogCapture log;
                  expect(Application::run() == 0, 2);
                  const std::vector<std::string> texts = log.texts();
                  const auto said = [&texts](const std::string& start) {
                      return std::find_if(texts.begin(), texts.end(), [&](const std::string& text) {
                          return text.starts_with(start);
                      });
                  };
                  const auto signal = said("Could not open dbus connection for signal: ");
                  const auto service = said("Could not initilize ONVIF Profile-T service: ");
                  expect(service != texts.end(), 3);
                  expect(signal < service, 4);
                  _exit(0);
              }));
}

TEST_F(ApplicationTest, RunsWithoutAWebServer) {
    EXPECT_EQ(0, exitStatusOf([] {
                  writeNothing();
                  requestStopBeforeStart();
                  ZQHttpDouble::failEveryCall("zq_http_handler_new");
                  _exit(Application::run() == 0 ? 0 : 2);
              }));
}

TEST_F(ApplicationTest, GoesOnWithoutAHandlerWhenThereCanBeNone) {
    EXPECT_EQ(128 + SIGTERM, exitStatusOf([] {
                  writeNothing();
                  refuseHandlers();
                  const SyslogCapture log;
                  std::thread([&log] {
                      waitFor([] { return !GlibUtilsDouble::starts().empty(); });
                      const GlibUtilsDouble::Start names{"KTW", "Tarnwatch", "DeviceAppHost"};
                      if (GlibUtilsDouble::starts().at(0) != names ||
                          !log.has(LOG_ERR, "Signal handler could not be set up, error: 1\n")) {
                          _exit(96);
                      }
                      kill(getpid(), SIGTERM);
                  }).detach();
                  Application::run();
              }));
}

}  // namespace
