#include "cgi/request_text.h"

#include <jansson.h>

#include <algorithm>
#include <string_view>

#include "config/json_auto_ptr.h"

namespace {

/// The length of the JSON value that the text begins with; 0 when there is none. A cut makes a text
/// JSON only directly behind this value: parsing goes from left to right, and what stands behind
/// the value has no part in it.
std::size_t lengthOfFirstValue(const char* text) {
    json_error_t end;
    const JsonAutoPtr value(json_loads(text, JSON_DISABLE_EOF_CHECK, &end));
    return value.get() != nullptr ? static_cast<std::size_t>(end.position) : 0;
}

bool isBlank(std::string_view text) {
    return text.find_first_not_of(" \t\n\r") == std::string_view::npos;
}

/// The length that remains when no cut makes the text JSON: up to its first brace.
std::size_t lengthAtLastCut(std::string_view text) {
    return std::min(text.find('}'), text.size() - 1) + 1;
}

}  // namespace

std::string RequestText::repair(const char* request) {
    const std::string_view text(request);
    if (text.empty()) {
        return {};
    }
    const std::size_t length = lengthOfFirstValue(request);
    if (length > 0 && isBlank(text.substr(length))) {
        return std::string(text);
    }
    // Cuts are made behind braces alone, so an array in front of something else is lost.
    const bool isObject = length > 0 && text[length - 1] == '}';
    return std::string(text.substr(0, isObject ? length : lengthAtLastCut(text)));
}
