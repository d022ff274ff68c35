#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "app/utils.h"
#include "support/syslog_capture.h"

using testing::UnorderedElementsAre;

namespace {

std::string ident = "nothing";
const SyslogCapture* capture = nullptr;
int channel[2];

// Lets these calls of the kernel fail for this process and its children from now on. False where
// the kernel has no such filters.
bool refuse(const std::vector<unsigned>& calls, unsigned error) {
    std::vector<sock_filter> filter{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const unsigned call : calls) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

// Tells of the end of a process in one line: its status, the name its log was opened with, and what
// it logged.
void tellOfTheEnd(int status, void*) {
    std::ostringstream text;
    text << status << " as " << ident;
    for (const SyslogCapture::Line& line : capture->lines()) {
        text << ": " << line;
    }
    text << '\n';
    const std::string line = text.str();
    _exit(write(channel[1], line.data(), line.size()) > 0 ? status : 99);
}

// The ends of all processes that are there once one has made itself a daemon while these calls of
// the kernel fail.
std::vector<std::string> endsOfDaemonize(const std::vector<unsigned>& calls, unsigned error) {
    EXPECT_EQ(0, pipe(channel));
    const pid_t child = fork();
    if (child == 0) {
        const SyslogCapture log;
        capture = &log;
        on_exit(tellOfTheEnd, nullptr);
        if (!refuse(calls, error)) {
            std::exit(98);
        }
        utils::daemonize("watcher");
        std::exit(97);
    }
    close(channel[1]);
    std::string text;
    std::array<char, 512> piece;
    ssize_t length = 0;
    while ((length = read(channel[0], piece.data(), piece.size())) > 0) {
        text.append(piece.data(), static_cast<std::size_t>(length));
    }
    close(channel[0]);
    EXPECT_EQ(child, waitpid(child, nullptr, 0));
    return utils::splitString(text, '\n');
}

const std::vector<unsigned> forking = {
    __NR_clone,
    __NR_clone3,
#ifdef __NR_fork
    __NR_fork,
#endif
};

}  // namespace

// Stands before the C library's own, as syslog() does.
extern "C" void openlog(const char* name, int, int) {
    ident = name;
}

TEST(Daemonize, LogsAFailedForkAndExitsWithZero) {
    EXPECT_THAT(endsOfDaemonize(forking, EAGAIN),
                UnorderedElementsAre("0 as watcher: 3 Could not deamonize the application"));
}

TEST(Daemonize, LogsAFailedSessionAndExitsWithOneInTheChildAlone) {
    EXPECT_THAT(endsOfDaemonize({__NR_setsid}, EPERM),
                UnorderedElementsAre("0 as nothing",
                                     "1 as watcher: 3 Could not set sid for the application"));
}

TEST(Daemonize, GoesOnInTheChildAlone) {
    EXPECT_THAT(endsOfDaemonize({}, 0), UnorderedElementsAre("0 as nothing", "97 as nothing"));
}
