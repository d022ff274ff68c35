#include "app/application.h"

#include <glib.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <functional>
#include <iterator>
#include <thread>

#include "support/camera_info_test_access.h"
#include "support/own_process.h"
#include "support/platform_doubles.h"
#include "support/scene_server.h"
#include "support/syslog_capture.h"

namespace {

/// The application on a device whose scene source is there and which has nothing to analyse.
class ApplicationTest : public PlatformDoublesTest {
protected:
    ApplicationTest() {
        CameraInfoTestAccess::forget();
        ZQParameterDouble::set("root.Properties.EmbeddedDevelopment.Version", "2.14");
        ZQParameterDouble::set("root.ImageSource.I0.Type", "Radar");
    }
    ~ApplicationTest() override { CameraInfoTestAccess::forget(); }

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
