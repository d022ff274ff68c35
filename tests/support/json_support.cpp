#include "support/json_support.h"

#include <cstdlib>
#include <memory>

JsonAutoPtr json(const std::string& text) {
    return JsonAutoPtr(json_loads(text.c_str(), JSON_DECODE_ANY, nullptr));
}

std::string textOf(const json_t* value) {
    const std::unique_ptr<char, decltype(&std::free)> text(
        json_dumps(value, JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(4)), &std::free);
    return text != nullptr ? text.get() : "";
}

std::string textOf(const JsonAutoPtr& value) {
    return textOf(value.get());
}

std::string with(const std::string& object,
                 const std::vector<std::pair<std::string, std::string>>& changes) {
    const JsonAutoPtr value = json(object);
    for (const auto& [key, text] : changes) {
        if (text.empty()) {
            json_object_del(value.get(), key.c_str());
        } else {
            json_object_set(value.get(), key.c_str(), json(text).get());
        }
    }
    const std::unique_ptr<char, decltype(&std::free)> full(json_dumps(value.get(), JSON_COMPACT),
                                                           &std::free);
    return full.get();
}
