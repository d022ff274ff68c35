#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "engine/file_descriptor.h"
#include "engine/unix_address.h"
#include "support/temporary_folder.h"

/// Runs the program itself, as it is started.
class EngineProgram : public testing::Test {
protected:
    void start(std::vector<std::string> arguments) {
        std::string program = PLINTH;
        std::vector<char*> argv = {program.data()};
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        process = fork();
        if (process == 0) {
            dup2(open(folder.path("out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
            dup2(open(folder.path("err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
            execv(argv[0], argv.data());
            _exit(127);
        }
    }

    int wait() {
        int status = 0;
        waitpid(process, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    int run(const std::vector<std::string>& arguments) {
        start(arguments);
        return wait();
    }

    /// Connects as soon as the engine accepts.
    FileDescriptor connectWhenReady() {
        const sockaddr_un address = unixAddress(socket);
        FileDescriptor client(::socket(AF_UNIX, SOCK_STREAM, 0));
        for (int i = 0; i < 2000; ++i) {
            if (connect(client.get(), reinterpret_cast<const sockaddr*>(&address),
                        sizeof address) == 0) {
                return client;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return {};
    }

    TemporaryFolder folder;
    const std::string socket = folder.path("scenes");
    pid_t process = -1;
};
