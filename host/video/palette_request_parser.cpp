#include "video/palette_request_parser.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>

#include "video/bus_error.h"
#include "video/listed_streams.h"

namespace {

using PaletteRequestParser::Properties;

constexpr std::array<std::string_view, 6> kKnown = {"Size",          "Position", "Visible",
                                                    "OverlayFormat", "Stream",   "Camera"};

[[noreturn]] void refuse(const std::string& reason) {
    throw BusError(BusError::Reason::BadInput, reason);
}

void checkNames(const Properties& properties) {
    for (const auto& [name, value] : properties) {
        if (std::find(kKnown.begin(), kKnown.end(), name) == kKnown.end()) {
            refuse("there is no property \"" + name + "\"");
        }
    }
}

const std::string& read(const Properties& properties, const std::string& name) {
    const auto found = properties.find(name);
    if (found == properties.end()) {
        refuse("the property " + name + " is missing");
    }
    return found->second;
}

std::optional<int> parseNumber(std::string_view text) {
    int value = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    const bool isNumber = error == std::errc() && rest == end && value >= 1;
    return isNumber ? std::optional(value) : std::nullopt;
}

Stream findStream(const Properties& properties, const ListedStreams& streams) {
    const std::string& id = read(properties, "Stream");
    const std::optional<int> number = parseNumber(id);
    const std::optional<Stream> stream = number ? streams.find(*number) : std::nullopt;
    if (!stream) {
        throw BusError(BusError::Reason::NotFound, "there is no stream \"" + id + "\"");
    }
    if (read(properties, "Camera") != std::to_string(stream->camera)) {
        refuse("stream " + id + " is of camera " + std::to_string(stream->camera));
    }
    return *stream;
}

/// Neither side may be more than the picture's longer one: what is beyond the picture is not seen,
/// but clients count with the picture that is not turned.
void setSize(PaletteRequest& request, const std::string& text) {
    const std::size_t separator = text.find('x');
    const std::string_view view = text;
    const std::optional<int> width = parseNumber(view.substr(0, separator));
    const std::optional<int> height =
        separator != std::string::npos ? parseNumber(view.substr(separator + 1)) : std::nullopt;
    if (!width || !height) {
        refuse("the size \"" + text + "\" is no WIDTHxHEIGHT");
    }
    const int most = std::max(request.stream.width, request.stream.height);
    if (*width > most || *height > most) {
        refuse("the size " + text + " is more than the stream's");
    }
    if (*width % 2 != 0) {
        refuse("the width " + std::to_string(*width) + " is odd");
    }
    request.width = *width;
    request.height = *height;
}

void setPosition(PaletteRequest& request, const std::string& text) {
    const std::optional<OverlayPosition> position = OverlayPosition::parse(text);
    if (!position) {
        refuse("the position \"" + text + "\" is no X,Y from -1 to 1");
    }
    request.position = *position;
    request.positionText = text;
}

}  // namespace

PaletteRequest PaletteRequestParser::parse(const Properties& properties,
                                           const ListedStreams& streams, const std::string& owner) {
    checkNames(properties);
    if (read(properties, "OverlayFormat") != "palette") {
        refuse("there is no format \"" + read(properties, "OverlayFormat") + "\", only palette");
    }
    PaletteRequest request = {findStream(properties, streams), 0, 0, {}, {}, false, owner};
    setSize(request, read(properties, "Size"));
    setPosition(request, read(properties, "Position"));
    request.isVisible = properties.contains("Visible") && parseVisible(properties.at("Visible"));
    return request;
}

bool PaletteRequestParser::parseVisible(const std::string& text) {
    if (text != "true" && text != "false") {
        refuse("Visible is true or false, not \"" + text + "\"");
    }
    return text == "true";
}
