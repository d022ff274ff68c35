#include "platform/zqevent/broker.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace {

using namespace std::chrono_literals;

/// Starts a program that ends with the calling thread; its standard output goes to `output`; with
/// -1, all it says goes nowhere.
pid_t spawn(const std::vector<std::string>& command, int output) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    const pid_t process = fork();
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (output >= 0) {
            dup2(output, STDOUT_FILENO);
        } else {
            const int nowhere = open("/dev/null", O_WRONLY);
            dup2(nowhere, STDOUT_FILENO);
            dup2(nowhere, STDERR_FILENO);
        }
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    return process;
}

bool accepts(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool accepted =
        connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(descriptor);
    return accepted;
}

}  // namespace

Broker::Broker(bool persistent, int port) : tcpPort(port) {
    std::ofstream settings(folder.path("broker.conf"));
    settings << "listener 0 " << socket() << "\n";
    if (tcpPort) {
        settings << "listener " << tcpPort << " 127.0.0.1\n";
    }
    settings << "allow_anonymous true\nlog_type none\nmax_queued_messages 100000\n"
             << "persistence " << (persistent ? "true" : "false") << "\n"
             << "persistence_location " << folder.path() << "/\n";
    if (getuid() == 0) {
        settings << "user root\n";
    }
    settings.close();
    start();
}

Broker::~Broker() {
    if (process > 0) {
        kill();
    }
}

void Broker::start() {
    process = spawn({"/usr/sbin/mosquitto", "-c", folder.path("broker.conf")}, -1);
    for (int tries = 0; !accepts(socket()); ++tries) {
        if (tries > 2000) {
            throw std::runtime_error("the broker does not start");
        }
        std::this_thread::sleep_for(5ms);
    }
}

void Broker::stop() {
    // One sent right after its start can be lost on it.
    for (int tries = 0; tries < 40; ++tries) {
        ::kill(process, SIGTERM);
        for (int waits = 0; waits < 25; ++waits) {
            if (waitpid(process, nullptr, WNOHANG) == process) {
                process = -1;
                return;
            }
            std::this_thread::sleep_for(10ms);
        }
    }
    kill();
}

void Broker::kill() {
    ::kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
    process = -1;
}

void Broker::pause() {
    ::kill(process, SIGSTOP);
    int status = 0;
    waitpid(process, &status, WUNTRACED);
}

void Broker::resume() {
    ::kill(process, SIGCONT);
}

Child::Child(const std::vector<std::string>& command) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    process = spawn(command, ends[1]);
    close(ends[1]);
    output = ends[0];
}

Child::~Child() {
    if (process > 0) {
        kill();
    }
    close(output);
}

std::string Child::readLine() {
    std::string line;
    char character = 0;
    while (read(output, &character, 1) == 1 && character != '\n') {
        line += character;
    }
    return line;
}

void Child::kill() {
    ::kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
    process = -1;
}

int Child::wait() {
    int status = 0;
    waitpid(process, &status, 0);
    process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

int freePort() {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(descriptor, reinterpret_cast<sockaddr*>(&address), length);
    getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length);
    close(descriptor);
    return ntohs(address.sin_port);
}
