#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "support/temporary_folder.h"

/// A real broker on a Unix socket (and, when asked for, on a free loopback port), in a process that
/// does not outlive the test.
class Broker {
public:
    /// What `persistent` keeps over stop() and start(), as a broker on a network would.
    explicit Broker(bool persistent = false, int port = 0);
    ~Broker();
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;

    /// Returns when it takes connections.
    void start();
    /// Ends it in order.
    void stop();
    /// Ends it at once.
    void kill();
    /// Holds it still, as if the machine had no time for it, and lets it go on.
    void pause();
    void resume();

    std::string socket() const { return folder.path("broker.sock"); }
    int port() const { return tcpPort; }

private:
    TemporaryFolder folder;
    int tcpPort;
    pid_t process = -1;
};

/// A program of the test's own folder, started with arguments, that does not outlive the test.
class Child {
public:
    explicit Child(const std::vector<std::string>& command);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    /// Waits for a line on its standard output.
    std::string readLine();
    void kill();
    /// Waits for its end; the exit status, or minus the signal.
    int wait();

private:
    pid_t process = -1;
    int output = -1;
};

/// A port of the loopback that nobody listens on.
int freePort();
