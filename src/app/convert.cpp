#include "app/convert.h"

#include <glib.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

bool holdsDigit(const char* text) {
    return text != nullptr && std::strpbrk(text, "0123456789") != nullptr;
}

}  // namespace

Maybe<float> Convert::stringToFloat(const char* text) {
    if (!holdsDigit(text)) {
        return {};
    }
    char* end = nullptr;
    const float value = std::strtof(text, &end);
    return *end == '\0' ? Maybe<float>(value) : Maybe<float>();
}

Maybe<int> Convert::stringToInt(const char* text) {
    if (!holdsDigit(text)) {
        return {};
    }
    errno = 0;
    const long value = std::strtol(text, nullptr, 10);
    if (errno == ERANGE || value < std::numeric_limits<std::int32_t>::min() ||
        value > std::numeric_limits<std::int32_t>::max()) {
        return {};
    }
    return Maybe<int>(static_cast<int>(value));
}

std::string Convert::intToString(int value) {
    return std::to_string(value);
}

std::string Convert::doubleToString(double value, int precision) {
    g_autofree char* text = g_strdup_printf("%.*f", precision, value);
    return text;
}
