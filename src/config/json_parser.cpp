#include "config/json_parser.h"

#include <cstdlib>
#include <memory>

bool JsonParser::isValid(const json_t* value) {
    return value != nullptr;
}

json_t* JsonParser::decode(const char* text) {
    return json_loads(text, 0, nullptr);
}

void JsonParser::decref(json_t* value) {
    json_decref(value);
}

json_t* JsonParser::getObject(const json_t* object, const std::string& key) {
    json_t* member = json_object_get(object, key.c_str());
    return json_is_object(member) ? member : nullptr;
}

json_t* JsonParser::getArray(const json_t* object, const std::string& key) {
    json_t* member = json_object_get(object, key.c_str());
    return json_is_array(member) ? member : nullptr;
}

std::string JsonParser::dumpJsonToString(const json_t* value) {
    return dump(value, JSON_COMPACT | JSON_PRESERVE_ORDER);
}

std::string JsonParser::dump(const json_t* value, std::size_t flags) {
    const std::unique_ptr<char, decltype(&std::free)> text(json_dumps(value, flags), &std::free);
    return text != nullptr ? text.get() : "";
}
