#pragma once

#include <optional>
#include <string>
#include <vector>

/// A file the engine was named or handed.
struct FileOption {
    std::string name;               ///< path, or what messages call the descriptor
    std::optional<int> descriptor;  ///< borrowed
};

struct SourceOption {
    enum class Kind { Scenes, Video, Pipe };
    Kind kind = Kind::Scenes;
    FileOption file;
};

/// The engine's command line; README.md tells what the options mean.
struct EngineOptions {
    enum class Action { Serve, Check, Describe };

    Action action = Action::Serve;
    std::string socket;
    std::vector<SourceOption> sources;  ///< at least one
    std::optional<bool> loop;
    std::vector<FileOption> records;  ///< for the first cameras, no more than there are sources
    std::string dump;                 ///< folder to keep pictures in; empty for none
    std::string pictures;             ///< socket to deliver pictures to; empty for none

    /// Throws SourceError with one line that says what is wrong.
    static EngineOptions parse(const std::vector<std::string>& arguments);
};
