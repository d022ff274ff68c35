#include "zqparameter/parameter_file.h"

#include <glib.h>

#include <algorithm>
#include <utility>

namespace {

constexpr std::string_view root = "root.";

std::string content(const std::string& path) {
    g_autofree char* text = nullptr;
    gsize length = 0;
    if (!g_file_get_contents(path.c_str(), &text, &length, nullptr)) {
        return {};
    }
    return std::string(text, length);
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string_view bareName(std::string_view name) {
    name = trimmed(name);
    return name.starts_with(root) ? name.substr(root.size()) : name;
}

/// Takes the first line off `text`, without its end.
std::string_view takeLine(std::string_view& text) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

bool saysNothing(std::string_view line) {
    return trimmed(line).empty() || line.starts_with('#');
}

struct Parameter {
    std::string_view name;
    std::string_view value;
};

std::optional<Parameter> parse(std::string_view line) {
    const std::size_t separator = line.find('=');
    if (saysNothing(line) || separator == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view name = bareName(line.substr(0, separator));
    if (name.empty()) {
        return std::nullopt;
    }
    return Parameter{name, line.substr(separator + 1)};
}

}  // namespace

ParameterFile::ParameterFile(std::string where) : path(std::move(where)) {}

std::optional<std::string> ParameterFile::find(std::string_view name) const {
    const std::string text = content(path);
    std::optional<std::string> value;
    for (std::string_view rest = text; !rest.empty();) {
        const auto parameter = parse(takeLine(rest));
        if (parameter && parameter->name == bareName(name)) {
            value = parameter->value;
        }
    }
    return value;
}

unsigned ParameterFile::firstBadLine() const {
    const std::string text = content(path);
    unsigned number = 0;
    for (std::string_view rest = text; !rest.empty();) {
        ++number;
        const std::string_view line = takeLine(rest);
        if (!saysNothing(line) && !parse(line)) {
            return number;
        }
    }
    return 0;
}
