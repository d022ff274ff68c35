#include "overlay/decimal_text.h"

#include <charconv>

Maybe<int> utils::parseDecimal(std::string_view text) {
    int value = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && rest == end ? Maybe<int>(value) : Maybe<int>();
}
