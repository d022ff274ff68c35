#include "video/user_overlay_input.h"

#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <set>
#include <stdexcept>

#include "video/bus_error.h"
#include "video/overlay_position.h"
#include "video/png_check.h"

namespace {

using UserOverlayInput::kMostSide;
using UserOverlayInput::kMostText;
using UserOverlayInput::Options;

constexpr int kTextHeight = 40;

[[noreturn]] void refuse(const std::string& reason) {
    throw BusError(BusError::Reason::BadInput, reason);
}

void checkOptions(const Options& options, const std::set<std::string>& known) {
    for (const auto& [name, value] : options) {
        if (!known.contains(name)) {
            refuse("there is no option \"" + name + "\" here");
        }
    }
}

int readNumber(const Options& options, const std::string& name, int most, int otherwise) {
    const auto found = options.find(name);
    if (found == options.end()) {
        return otherwise;
    }
    const std::string& text = found->second;
    int value = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end || value < 1 || value > most) {
        refuse(name + " takes a number from 1 to " + std::to_string(most) + ", not \"" + text +
               "\"");
    }
    return value;
}

bool readSwitch(const Options& options, const std::string& name) {
    const auto found = options.find(name);
    if (found == options.end() || found->second == "true") {
        return true;
    }
    if (found->second != "false") {
        refuse(name + " takes true or false, not \"" + found->second + "\"");
    }
    return false;
}

bool isControl(char byte) {
    return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f;
}

void checkText(const std::string& text) {
    if (text.empty()) {
        refuse("the text is empty");
    }
    if (text.size() > kMostText) {
        refuse("the text is too long: at most " + std::to_string(kMostText) + " bytes");
    }
    if (g_utf8_validate_len(text.data(), text.size(), nullptr) == FALSE ||
        std::any_of(text.begin(), text.end(), isControl)) {
        refuse("the text is not one line of UTF-8");
    }
}

PngSize checkImage(const std::string& file) {
    try {
        return PngCheck::check(file);
    } catch (const std::invalid_argument& error) {
        refuse(error.what());
    }
}

std::string readFile(int descriptor) {
    struct stat status {};
    // Reading from anything else could take for ever.
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        refuse("the descriptor is of no regular file");
    }
    std::string content(
        static_cast<std::size_t>(std::min<off_t>(status.st_size, PngCheck::kMostBytes + 1)), '\0');
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t count = pread(descriptor, content.data() + done, content.size() - done,
                                    static_cast<off_t>(done));
        if (count < 0 && errno != EINTR) {
            refuse("the file cannot be read");
        }
        if (count == 0) {
            break;
        }
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    content.resize(done);
    return content;
}

/// The side that goes with another one in the ratio of two.
int fit(int side, int ofThis, int ofOther) {
    return std::clamp(static_cast<int>((std::int64_t{side} * ofThis + ofOther / 2) / ofOther), 1,
                      kMostSide);
}

void setSize(UserOverlay& overlay, const PngSize& image, const Options& options) {
    overlay.width = readNumber(options, "Width", kMostSide, 0);
    overlay.height = readNumber(options, "Height", kMostSide, 0);
    if (overlay.height == 0) {
        overlay.height =
            overlay.width == 0 ? image.height : fit(overlay.width, image.height, image.width);
    }
    if (overlay.width == 0) {
        overlay.width = fit(overlay.height, image.width, image.height);
    }
}

}  // namespace

UserOverlay UserOverlayInput::makeText(const std::string& text, const std::string& position,
                                       const Options& options, int cameras) {
    checkOptions(options, {"Camera", "Height", "Scalable"});
    UserOverlay overlay;
    overlay.camera = readNumber(options, "Camera", cameras, 1);
    overlay.text = text;
    overlay.position = position;
    overlay.height = readNumber(options, "Height", kMostSide, kTextHeight);
    overlay.isScalable = readSwitch(options, "Scalable");
    check(overlay, cameras);
    return overlay;
}

UserOverlay UserOverlayInput::makeImage(int descriptor, const std::string& position,
                                        const Options& options, int cameras) {
    checkOptions(options, {"Camera", "Width", "Height", "Scalable"});
    UserOverlay overlay;
    overlay.camera = readNumber(options, "Camera", cameras, 1);
    overlay.kind = UserOverlay::Kind::Image;
    overlay.position = position;
    overlay.isScalable = readSwitch(options, "Scalable");
    checkPosition(position);
    overlay.imageFile = std::make_shared<const std::string>(readFile(descriptor));
    setSize(overlay, checkImage(*overlay.imageFile), options);
    return overlay;
}

void UserOverlayInput::checkPosition(const std::string& position) {
    if (!OverlayPosition::isName(position) && !OverlayPosition::parse(position)) {
        refuse("the position \"" + position +
               "\" is none of top, topleft, topright, bottom, bottomleft, bottomright and X,Y from "
               "-1 to 1");
    }
}

void UserOverlayInput::check(const UserOverlay& overlay, int cameras) {
    const bool isText = overlay.kind == UserOverlay::Kind::Text;
    const auto isSide = [](int side, int least) { return side >= least && side <= kMostSide; };
    if (overlay.camera < 1 || overlay.camera > cameras) {
        refuse("there is no camera " + std::to_string(overlay.camera));
    }
    if (!isSide(overlay.height, 1) || !isSide(overlay.width, isText ? 0 : 1)) {
        refuse("no size");
    }
    checkPosition(overlay.position);
    if (isText) {
        checkText(overlay.text);
    } else {
        checkImage(*overlay.imageFile);
    }
}
