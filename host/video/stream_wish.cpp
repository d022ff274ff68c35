#include "video/stream_wish.h"

#include <algorithm>
#include <charconv>

std::optional<int> parseSmallNumber(const std::string& text) {
    constexpr std::size_t mostDigits = 6;
    const bool isNumber =
        !text.empty() && text.size() <= mostDigits && (text.size() == 1 || text[0] != '0') &&
        std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (!isNumber) {
        return {};
    }
    int number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::optional<StreamWish::Size> StreamWish::Size::parse(const std::string& text) {
    const std::size_t separator = text.find('x');
    if (separator == std::string::npos) {
        return {};
    }
    const auto width = parseSmallNumber(text.substr(0, separator));
    const auto height = parseSmallNumber(text.substr(separator + 1));
    if (width.value_or(0) == 0 || height.value_or(0) == 0) {
        return {};
    }
    return Size{*width, *height};
}
