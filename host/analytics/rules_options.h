#pragma once

#include <optional>
#include <string>
#include <vector>

/// What the command `rules` is asked for.
struct RulesOptions {
    enum class Command { Help, List, Types, Options, Create, Modify, Delete };

    struct Size {
        int width;   // pixels
        int height;  // pixels
        friend bool operator==(const Size&, const Size&) = default;
    };

    Command command = Command::Help;
    std::string file;                ///< for Create and Modify; "-" is standard input
    std::vector<std::string> names;  ///< for Delete, at least one
    int source = 0;                  ///< video source, from 0
    std::optional<Size> size;        ///< of the stream in whose pixels rules are told
    int rotation = 0;                ///< of that stream: 0, 90, 180 or 270

    /// Throws UsageError.
    static RulesOptions parse(const std::vector<std::string>& arguments);

    static const char* help();
};
