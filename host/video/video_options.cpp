#include "video/video_options.h"

#include <charconv>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace {

constexpr int kLeastSide = 16;   // pixels
constexpr int kMostSide = 8192;  // pixels

/// A number that the text begins with, which is taken off; 0 if there is none.
int takeNumber(std::string_view& text) {
    int number = 0;
    const bool hasDigit = !text.empty() && text.front() >= '0' && text.front() <= '9';
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (!hasDigit || error != std::errc()) {
        return 0;
    }
    text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
    return number;
}

bool isSide(int pixels) {
    return pixels >= kLeastSide && pixels <= kMostSide;
}

VideoOptions::Camera parseCamera(const std::string& text) {
    std::string_view rest = text;
    const int width = takeNumber(rest);
    const bool hasSeparator = rest.starts_with('x');
    rest.remove_prefix(hasSeparator ? 1 : 0);
    const int height = takeNumber(rest);
    if (!hasSeparator || !rest.empty() || !isSide(width) || !isSide(height)) {
        throw std::invalid_argument("--camera: \"" + text + "\" is no WIDTHxHEIGHT from " +
                                    std::to_string(kLeastSide) + " to " +
                                    std::to_string(kMostSide) + " pixels");
    }
    return {width, height};
}

/// The options that are one text each.
struct TextOption {
    const char* name;
    std::string VideoOptions::*place;
};

constexpr TextOption kTextOptions[] = {{"--pictures", &VideoOptions::pictures},
                                       {"--web", &VideoOptions::web},
                                       {"--configuration", &VideoOptions::configuration},
                                       {"--state", &VideoOptions::state}};

void readOption(const std::string& option, const std::string& value, VideoOptions& options) {
    if (option == "--camera") {
        options.cameras.push_back(parseCamera(value));
        return;
    }
    for (const auto& [name, place] : kTextOptions) {
        if (option == name) {
            options.*place = value;
        }
    }
}

bool isKnown(const std::string& option) {
    for (const auto& [name, place] : kTextOptions) {
        if (option == name) {
            return true;
        }
    }
    return option == "--camera";
}

void checkAllAreThere(const VideoOptions& options) {
    if (options.cameras.empty()) {
        throw std::invalid_argument("no camera: give --camera");
    }
    for (const auto& [name, place] : kTextOptions) {
        if ((options.*place).empty()) {
            throw std::invalid_argument(std::string("give ") + name);
        }
    }
}

}  // namespace

VideoOptions VideoOptions::parse(const std::vector<std::string>& arguments) {
    VideoOptions options;
    for (std::size_t next = 0; next < arguments.size(); next += 2) {
        const std::string& option = arguments[next];
        if (!isKnown(option)) {
            throw std::invalid_argument(option + ": is no option");
        }
        if (next + 1 == arguments.size()) {
            throw std::invalid_argument(option + ": a value is missing");
        }
        readOption(option, arguments[next + 1], options);
    }
    checkAllAreThere(options);
    return options;
}
