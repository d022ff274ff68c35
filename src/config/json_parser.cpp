#include "config/json_parser.h"

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

// Not with json_dumps(): without memory it can leave out a key and call it a success.
std::string JsonParser::dump(const json_t* value, std::size_t flags) {
    std::string text;
    const auto append = [](const char* piece, std::size_t length, void* place) {
        static_cast<std::string*>(place)->append(piece, length);
        return 0;
    };
    return json_dump_callback(value, append, &text, flags) == 0 ? text : std::string();
}
