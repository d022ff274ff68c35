#include "video/overlay_position.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace {

constexpr std::array<std::string_view, 6> kNames = {"top",    "topleft",    "topright",
                                                    "bottom", "bottomleft", "bottomright"};

/// Longer than any number that says something about pixels.
constexpr std::size_t kMostDigits = 16;

std::optional<double> parseNumber(std::string_view text) {
    const bool isPlain = !text.empty() && text.size() <= kMostDigits &&
                         text.find_first_not_of("-.0123456789") == std::string_view::npos;
    double value = 0.0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    const bool isNumber = isPlain && error == std::errc() && rest == end;
    return isNumber && value >= -1.0 && value <= 1.0 ? std::optional(value) : std::nullopt;
}

}  // namespace

std::optional<OverlayPosition> OverlayPosition::parse(const std::string& text) {
    const std::size_t comma = text.find(',');
    if (comma == std::string::npos) {
        return std::nullopt;
    }
    const std::string_view view = text;
    const std::optional<double> x = parseNumber(view.substr(0, comma));
    const std::optional<double> y = parseNumber(view.substr(comma + 1));
    return x && y ? std::optional(OverlayPosition{*x, *y}) : std::nullopt;
}

bool OverlayPosition::isName(const std::string& text) {
    return std::find(kNames.begin(), kNames.end(), text) != kNames.end();
}
