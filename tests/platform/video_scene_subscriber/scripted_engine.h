#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "engine/file_descriptor.h"

/// A scene engine that says what the test wants. It accepts on a thread of its own, reads each
/// request and sends the answer; then the test has the connection.
class ScriptedEngine {
public:
    /// Listens at `path`. An empty answer is none: the connection stays open and silent.
    explicit ScriptedEngine(const std::string& path, std::string answer = granted());
    ~ScriptedEngine();
    ScriptedEngine(const ScriptedEngine&) = delete;
    ScriptedEngine& operator=(const ScriptedEngine&) = delete;

    static std::string granted() { return std::string("1.1 OK\0", 7); }
    /// A frame with any length told in its head.
    static std::string frame(std::uint32_t length, const std::string& content);

    /// Hangs up behind its answers from now on.
    void hangUpAfterAnswers();
    /// The requests so far, with their line ends.
    std::vector<std::string> requests() const;
    /// Sends to the last connection.
    void send(const std::string& bytes);
    /// Closes all connections.
    void hangUp();

private:
    void serve();

    FileDescriptor listener;
    const std::string answer;
    mutable std::mutex mutex;
    bool hangingUp = false;
    std::vector<std::string> asked;
    std::vector<FileDescriptor> connections;
    std::thread thread;
};
