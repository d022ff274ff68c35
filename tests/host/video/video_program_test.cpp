// The program itself, as it is started.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <optional>

#include "bus_caller.h"
#include "support/sanitizers.h"
#include "support/temporary_folder.h"
#include "support/wait_for.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kOverlay2 = "com.orva.Overlay2";
constexpr const char* kGraphics1 = "com.orva.Graphics1";

class VideoProgram : public testing::Test {
protected:
    ~VideoProgram() override {
        if (process > 0) {
            kill(process, SIGKILL);
            waitpid(process, nullptr, 0);
        }
    }

    void start(std::vector<std::string> arguments) {
        std::string program = VIDEO;
        std::vector<char*> argv = {program.data()};
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        process = fork();
        if (process == 0) {
            dup2(open(folder.path("err").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600),
                 2);
            execv(argv[0], argv.data());
            _exit(127);
        }
    }
    void start() {
        start({"--camera", "320x240", "--pictures", folder.path("pictures"), "--web",
               folder.path("web"), "--configuration", folder.path("config.json"), "--state",
               folder.path()});
    }
    bool isReadyInTime() const {
        return waitFor(
            [this] { return client->isOnBus(kOverlay2) && client->isOnBus(kGraphics1); });
    }
    /// Its status, or the negative signal that ended it.
    int wait() {
        int status = 0;
        waitpid(std::exchange(process, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    /// Ends it by a signal; its status, or -1 if that takes more than a second.
    int endBy(int number) {
        // ThreadSanitizer lets a process wait for a second before it ends.
        constexpr int kLimit = (isSanitized ? 5 : 1) * G_USEC_PER_SEC;
        const gint64 begin = g_get_monotonic_time();
        kill(process, number);
        const int status = wait();
        return g_get_monotonic_time() - begin < kLimit ? status : -1;
    }
    std::string call(const char* interface, const char* method, GVariant* parameters) const {
        return client->call(kOverlay2, "/com/orva/Overlay2", interface, method, parameters);
    }
    std::string list() const { return call("com.orva.Host.Overlays1", "List", nullptr); }
    void setExit(const char* what) const {
        call("com.orva.Host.Faults1", "Set", g_variant_new("(ssuuu)", what, "exit", 1, 1, 0));
    }
    bool accepts(const char* socket, int type) const {
        sockaddr_un place = {};
        place.sun_family = AF_UNIX;
        std::strncpy(place.sun_path, folder.path(socket).c_str(), sizeof place.sun_path - 1);
        const FileDescriptor end(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
        return connect(end.get(), reinterpret_cast<sockaddr*>(&place), sizeof place) == 0;
    }

    const FixedBusAddress address;
    std::optional<PrivateBus> bus{std::in_place, &address};
    std::optional<BusCaller> client{std::in_place, *bus};
    const TemporaryFolder folder;
    pid_t process = -1;
};

TEST_F(VideoProgram, RefusesABadOptionInOneLine) {
    start({"--nonsense"});
    EXPECT_EQ(wait(), 2);
    EXPECT_EQ(folder.read("err"), "video: --nonsense: is no option\n");
}

TEST_F(VideoProgram, RefusesAPlaceThatIsNotThereInOneLine) {
    start({"--camera", "320x240", "--pictures", "/nonexistent/pictures", "--web",
           "/nonexistent/web", "--configuration", "/nonexistent/config.json", "--state",
           folder.path()});
    EXPECT_EQ(wait(), 2);
    const std::string said = folder.read("err");
    EXPECT_THAT(said, StartsWith("video: /nonexistent/"));
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1);
}

TEST_F(VideoProgram, AcceptsViewersAndEnginesBeforeItHasItsNames) {
    start();
    ASSERT_TRUE(isReadyInTime());
    EXPECT_TRUE(accepts("web", SOCK_STREAM));
    EXPECT_TRUE(accepts("pictures", SOCK_SEQPACKET));
}

TEST_F(VideoProgram, EndsWhenItIsAskedTo) {
    for (const int number : {SIGTERM, SIGINT}) {
        start();
        ASSERT_TRUE(isReadyInTime());
        EXPECT_EQ(endBy(number), 0) << folder.read("err");
        EXPECT_FALSE(client->isOnBus(kOverlay2));
    }
}

TEST_F(VideoProgram, EndsWhileTheBusIsAway) {
    start();
    ASSERT_TRUE(isReadyInTime());
    client.reset();
    bus.reset();
    ASSERT_TRUE(waitFor(
        [this] { return folder.read("err").find("the bus has gone") != std::string::npos; }));
    EXPECT_EQ(endBy(SIGTERM), 0) << folder.read("err");
}

TEST_F(VideoProgram, ComesBackWithTheBus) {
    start();
    ASSERT_TRUE(isReadyInTime());
    client.reset();
    bus.reset();
    bus.emplace(&address);
    client.emplace(*bus);
    EXPECT_TRUE(isReadyInTime());
}

TEST_F(VideoProgram, ShowsWhatPersonsPutUpAfterItsDeath) {
    start();
    ASSERT_TRUE(isReadyInTime());
    call("com.orva.Host.Overlays1", "AddText",
         g_variant_new_parsed("('Gate 3', 'top', {'Height': '55'})"));
    call("com.orva.Host.Overlays1", "AddText",
         g_variant_new_parsed("('Gate 4', '0,0', @a{ss} {})"));
    call("com.orva.Host.Overlays1", "Remove", g_variant_new("(i)", 1));
    EXPECT_EQ(endBy(SIGKILL), -SIGKILL);
    start();
    ASSERT_TRUE(isReadyInTime());
    EXPECT_EQ(list(), "([(2, 1, 'textoverlay', '0,0', 'Gate 4')],)");
    EXPECT_EQ(call("com.orva.Host.Overlays1", "AddText",
                   g_variant_new_parsed("('Gate 5', 'top', @a{ss} {})")),
              "(3,)");
}

TEST_F(VideoProgram, StartsWithADamagedFileAndLeavesIt) {
    ASSERT_EQ(mkdir(folder.path("overlays").c_str(), 0700), 0);
    folder.write("overlays/7.overlay", "damaged\n");
    start();
    ASSERT_TRUE(isReadyInTime());
    EXPECT_THAT(folder.read("err"), HasSubstr("7.overlay is passed over: its line is damaged\n"));
    EXPECT_EQ(list(), "(@a(iisss) [],)");
    EXPECT_EQ(call("com.orva.Host.Overlays1", "AddText",
                   g_variant_new_parsed("('Gate 3', 'top', @a{ss} {})")),
              "(8,)");
    EXPECT_EQ(folder.read("overlays/7.overlay"), "damaged\n");
}

TEST_F(VideoProgram, DiesInACallWhenToldTo) {
    start();
    ASSERT_TRUE(isReadyInTime());
    setExit("OpenCameraDevice");
    EXPECT_THAT(client->call(kGraphics1, "/com/orva/Graphics1", "com.orva.Graphics1.Overlay",
                             "OpenCameraDevice"),
                StartsWith("org.freedesktop.DBus.Error.NoReply"));
    EXPECT_EQ(wait(), 1);
}

TEST_F(VideoProgram, DiesInARequestWhenToldTo) {
    start();
    ASSERT_TRUE(isReadyInTime());
    const FileDescriptor channel = client->callForDescriptor(
        kGraphics1, "/com/orva/Graphics1", "com.orva.Graphics1.Overlay", "GetCommandChannel");
    setExit("getBuffer");
    const std::string request =
        R"({"apiVersion": "1.0", "method": "getBuffer", "context": "", "params": {"overlayId": 1}})";
    send(channel.get(), request.c_str(), request.size() + 1, MSG_NOSIGNAL);
    char byte = 0;
    EXPECT_EQ(recv(channel.get(), &byte, 1, 0), 0);
    EXPECT_EQ(wait(), 1);
}

}  // namespace
