#include "analytics/stream_size.h"

#include <glib.h>

#include <charconv>
#include <cstring>
#include <string>

#include "zqparameter/zqparameter.h"

namespace {

constexpr RulesOptions::Size kUnknown = {1280, 720};

/// The parameter's value, empty when there is none.
std::string parameter(const std::string& name) {
    ZQParameter* parameters = zq_parameter_new("rules", nullptr);
    g_autofree char* value = nullptr;
    if (parameters != nullptr) {
        zq_parameter_get(parameters, name.c_str(), &value, nullptr);
    }
    zq_parameter_free(parameters);
    return value != nullptr ? value : "";
}

/// Reads "WIDTHxHEIGHT".
RulesOptions::Size sizeIn(const std::string& text) {
    RulesOptions::Size size{};
    const char* end = text.data() + text.size();
    const auto [middle, first] = std::from_chars(text.data(), end, size.width);
    if (first != std::errc() || middle == end || *middle != 'x') {
        return kUnknown;
    }
    const auto [stop, second] = std::from_chars(middle + 1, end, size.height);
    return second == std::errc() && stop == end && size.width > 0 && size.height > 0 ? size
                                                                                     : kUnknown;
}

}  // namespace

RulesOptions::Size StreamSize::of(const RulesOptions& options) {
    if (options.size.has_value()) {
        return *options.size;
    }
    return sizeIn(
        parameter("root.Image.I" + std::to_string(options.source) + ".Appearance.Resolution"));
}
