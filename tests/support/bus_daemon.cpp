#include "support/bus_daemon.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <stdexcept>

namespace {

std::string makeConfiguration(const std::string& socket) {
    return "<busconfig><type>session</type><listen>unix:path=" + socket +
           "</listen><policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
           "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>";
}

/// The first line of what it says; without an end of line when it ends before that.
std::string readLine(int descriptor) {
    std::string line;
    char character = 0;
    while (!line.ends_with('\n') && read(descriptor, &character, 1) == 1) {
        line += character;
    }
    return line;
}

}  // namespace

BusDaemon::BusDaemon() {
    std::string option =
        "--config-file=" + folder.write("bus.conf", makeConfiguration(folder.path("socket")));
    std::array<char, 12> program{"dbus-daemon"};
    std::array<char, 9> noFork{"--nofork"};
    std::array<char, 16> print{"--print-address"};
    std::array<char*, 5> arguments{program.data(), noFork.data(), print.data(), option.data(),
                                   nullptr};
    g_autoptr(GError) error = nullptr;
    const auto endWithParent = [](gpointer) { prctl(PR_SET_PDEATHSIG, SIGKILL); };
    constexpr auto kFlags =
        static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_DO_NOT_REAP_CHILD);
    if (g_spawn_async_with_pipes(nullptr, arguments.data(), nullptr, kFlags, endWithParent, nullptr,
                                 &process, nullptr, &output, nullptr, &error) == FALSE) {
        throw std::runtime_error(error->message);
    }
    address = readLine(output);
    if (!address.ends_with('\n')) {
        stop();
        throw std::runtime_error("No bus");
    }
    address.pop_back();
}

BusDaemon::~BusDaemon() {
    stop();
}

void BusDaemon::stop() {
    if (process == 0) {
        return;
    }
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
    process = 0;
    close(output);
}
