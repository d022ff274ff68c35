#include "command/command_line.h"

#include <glib.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "command/usage_error.h"

namespace {

struct FileCloser {
    explicit FileCloser(std::FILE* theFile) : file(theFile) {}
    ~FileCloser() {
        if (file != stdin) {
            std::fclose(file);
        }
    }
    FileCloser(const FileCloser&) = delete;
    FileCloser& operator=(const FileCloser&) = delete;

    std::FILE* file;
};

std::FILE* open(const std::string& path) {
    std::FILE* file = path == "-" ? stdin : std::fopen(path.c_str(), "rbe");
    if (file == nullptr) {
        std::string text = path + ": " + std::strerror(errno);
        // A command whose working directory the device does not have runs in the root.
        const bool elsewhere = path[0] != '/' && std::filesystem::current_path() == "/";
        if (elsewhere || path.starts_with("/tmp/") || path.starts_with("/run/")) {
            text += " (inside the device; give - and the file as standard input)";
        }
        throw UsageError(text);
    }
    return file;
}

}  // namespace

int CommandLine::number(const std::string& name, const std::string& text, int least, int most) {
    int value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value < least || value > most) {
        throw UsageError(name + " takes a number from " + std::to_string(least) + " to " +
                         std::to_string(most) + ", not \"" + text + "\"");
    }
    return value;
}

std::string CommandLine::readFile(const std::string& path, std::size_t most) {
    const FileCloser input(open(path));
    std::string content;
    char piece[65536];
    std::size_t length = 0;
    while ((length = std::fread(piece, 1, sizeof piece, input.file)) > 0) {
        content.append(piece, length);
        if (content.size() > most) {
            throw UsageError(path + ": longer than " + std::to_string(most) + " bytes");
        }
    }
    if (std::ferror(input.file) != 0) {
        throw UsageError(path + ": " + std::strerror(errno));
    }
    return content;
}

void CommandLine::requireUtf8(const std::string& name, const std::string& text) {
    if (g_utf8_validate_len(text.data(), text.size(), nullptr) == FALSE) {
        throw UsageError(name + " not UTF-8 text");
    }
}
