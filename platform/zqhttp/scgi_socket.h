#pragma once

#include <sys/types.h>

#include <string>

/// The Unix socket at which the web server finds the application. It takes the place of whatever
/// stood there, such as the socket of a process that was killed, in one step: who connects meets
/// the old one or the new one, which already listens. Gone with the object.
class ScgiSocket {
public:
    /// Throws std::runtime_error when the place cannot be taken.
    explicit ScgiSocket(const std::string& path);
    ~ScgiSocket();
    ScgiSocket(const ScgiSocket&) = delete;
    ScgiSocket& operator=(const ScgiSocket&) = delete;

    /// Hands the descriptor, which does not block, to the caller (transferred).
    int release();

private:
    void takePlace();

    const std::string path;
    int descriptor;
    /// Which file is ours, so that the one of a successor stays.
    dev_t device = 0;
    ino_t inode = 0;
};
